// Strict reading of JSON objects: types and ranges checked, unknown keys refused, every error naming its place
// ("ble.devices[2].rssi: must be a number from -127 to 20"). Serves the scenario file and the daemons' set operations.
#pragma once

#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
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

// What is read from outside is nested no deeper: copying and writing JSON takes the stack, level by level.
constexpr int nestingLimit = 16;

// Throws JsonError for a text that is nested deeper, Json::exception for one that is no JSON.
Json parseJson(std::string_view text);

class JsonReader {
public:
    // where: the name of the object in error texts, empty for the outermost one. The object must stay alive. Throws
    // JsonError when it is not an object.
    JsonReader(const Json& object, std::string where);

    bool has(const std::string& key) const { return object_.contains(key); }
    // Each marks its key as known and leaves the output alone when the key is absent; true when it was there.
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
    // Calls `each` with every item of an array and the item's name in error texts.
    bool array(const std::string& key, const std::function<void(const Json&, const std::string& where)>& each);
    // Any value; null when the key is absent.
    const Json* any(const std::string& key);
    std::string place(const std::string& key) const;
    [[noreturn]] void fail(const std::string& key, const std::string& what) const;

    // Throws JsonError when the object has a key that was not asked for.
    void finish() const;

private:
    bool integer(const std::string& key, std::int64_t& value, std::int64_t low, std::int64_t high);

    const Json& object_;
    std::string where_;
    std::set<std::string> known_;
};

} // namespace zvcamera
