#include "jsonReader.h"

#include <nlohmann/json.hpp>

namespace zvcamera {

Json parseJson(std::string_view text) {
    return Json::parse(text, [](int depth, Json::parse_event_t event, const Json&) {
        const bool begins = event == Json::parse_event_t::object_start || event == Json::parse_event_t::array_start;
        if (begins && depth >= nestingLimit) {
            throw JsonError("nested deeper than " + std::to_string(nestingLimit));
        }
        return true;
    });
}

std::string plainText(const std::exception& error) {
    const std::string text = error.what();
    const std::size_t end = text.rfind("[json.exception", 0) == 0 ? text.find("] ") : std::string::npos;
    return end == std::string::npos ? text : text.substr(end + 2);
}

JsonReader::JsonReader(const Json& object, std::string where) : object_(object), where_(std::move(where)) {
    if (!object.is_object()) {
        throw JsonError((where_.empty() ? "the document" : where_) + ": must be an object");
    }
}

bool JsonReader::has(const std::string& key) const {
    return object_.contains(key);
}

std::string JsonReader::place(const std::string& key) const {
    return where_.empty() ? key : where_ + "." + key;
}

void JsonReader::fail(const std::string& key, const std::string& what) const {
    throw JsonError(place(key) + ": " + what);
}

const Json* JsonReader::any(const std::string& key) {
    known_.insert(key);
    const auto found = object_.find(key);
    return found == object_.end() ? nullptr : &*found;
}

bool JsonReader::text(const std::string& key, std::string& value) {
    const Json* found = any(key);
    if (found == nullptr) {
        return false;
    }
    if (!found->is_string()) {
        fail(key, "must be a text");
    }
    value = found->get<std::string>();
    return true;
}

bool JsonReader::flag(const std::string& key, bool& value) {
    const Json* found = any(key);
    if (found == nullptr) {
        return false;
    }
    if (found->is_boolean()) {
        value = found->get<bool>();
    } else if (found->is_number_integer() && found->get<std::int64_t>() == (found->get<std::int64_t>() & 1)) {
        value = found->get<std::int64_t>() == 1;
    } else {
        fail(key, "must be true or false");
    }
    return true;
}

bool JsonReader::integer(const std::string& key, std::int64_t& value, std::int64_t low, std::int64_t high) {
    const Json* found = any(key);
    if (found == nullptr) {
        return false;
    }
    const std::string range = "must be a whole number from " + std::to_string(low) + " to " + std::to_string(high);
    if (!found->is_number_integer() ||
        (found->is_number_unsigned() && found->get<std::uint64_t>() > static_cast<std::uint64_t>(INT64_MAX))) {
        fail(key, range);
    }
    const std::int64_t wide = found->get<std::int64_t>();
    if (wide < low || wide > high) {
        fail(key, range);
    }
    value = wide;
    return true;
}

bool JsonReader::byte(const std::string& key, std::uint8_t& value) {
    return number(key, value, 0, UINT8_MAX);
}

bool JsonReader::fraction(const std::string& key, double& value) {
    const Json* found = any(key);
    if (found == nullptr) {
        return false;
    }
    if (!found->is_number() || !(found->get<double>() >= 0 && found->get<double>() <= 1)) {
        fail(key, "must be a number from 0 to 1");
    }
    value = found->get<double>();
    return true;
}

bool JsonReader::array(const std::string& key, const std::function<void(const Json&, const std::string& where)>& each) {
    const Json* found = any(key);
    if (found == nullptr) {
        return false;
    }
    if (!found->is_array()) {
        fail(key, "must be an array");
    }
    std::size_t index = 0;
    for (const Json& item : *found) {
        each(item, place(key) + "[" + std::to_string(index++) + "]");
    }
    return true;
}

void JsonReader::finish() const {
    for (const auto& item : object_.items()) {
        if (known_.count(item.key()) == 0) {
            fail(item.key(), "unknown key");
        }
    }
}

} // namespace zvcamera
