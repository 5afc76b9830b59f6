// Strict reading of JSON objects: checks types and ranges, refuses unknown keys, and names the place of every error
// ("ble.devices[2].rssi: must be a number from -127 to 20"). For the scenario file and the daemons' set operations.
#pragma once

#include <cstdint>
#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>

namespace zvcamera {

using Json = nlohmann::json;

class JsonError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// What is asked for is right in itself but cannot be done now: there is no such thing, no room, nothing under way.
class Refusal : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The most levels of JSON from outside: copying and writing it takes stack for each level.
constexpr int nestingLimit = 16;

// Throws JsonError when the text is nested deeper, Json::exception when it is no JSON.
Json parseJson(std::string_view text);
// The text of a Json::exception without its class and number.
std::string plainText(const std::exception& error);

class JsonReader {
public:
    // where: the name of the object in error texts, empty for the outermost one. The object must outlive the reader.
    // Throws JsonError when it is not an object.
    JsonReader(const Json& object, std::string where);

    bool has(const std::string& key) const;
    // Each marks its key as known. True when the key is there; else the value stays as it is. Throw JsonError.
    bool text(const std::string& key, std::string& value);
    bool flag(const std::string& key, bool& value); // true, false, 1 or 0
    template<typename T>
    bool number(const std::string& key, T& value, std::int64_t low, std::int64_t high) {
        std::int64_t wide = 0;
        if (!integer(key, wide, low, high)) {
            return false;
        }
        value = static_cast<T>(wide);
        return true;
    }
    bool byte(const std::string& key, std::uint8_t& value); // 0 to 255
    bool fraction(const std::string& key, double& value);   // 0 to 1
    // Calls `each` with every item of an array and the item's name in error texts.
    bool array(const std::string& key, const std::function<void(const Json&, const std::string& where)>& each);
    // Any value; null when the key is absent.
    const Json* any(const std::string& key);
    // "outer.key", as error texts name it.
    std::string place(const std::string& key) const;
    [[noreturn]] void fail(const std::string& key, const std::string& what) const;

    // Throws JsonError when the object has a key that nobody has asked for.
    void finish() const;

private:
    bool integer(const std::string& key, std::int64_t& value, std::int64_t low, std::int64_t high);

    const Json& object_;
    std::string where_;
    std::set<std::string> known_;
};

} // namespace zvcamera
