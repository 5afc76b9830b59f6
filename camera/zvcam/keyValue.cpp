#include "keyValue.h"

#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

namespace zvcamera {
namespace {

Json listOf(const std::string& text) {
    Json list = Json::array();
    std::istringstream stream(text);
    for (std::string item; std::getline(stream, item, ',');) {
        list.push_back(item);
    }
    return list;
}

Json valueOf(const std::string& key, const std::string& text) {
    if (key == "uuid16" || key == "uuid128") {
        return listOf(text);
    }
    if (key == "name" || key == "presence" || key == "pairing") {
        return text;
    }
    const Json value = Json::parse(text, nullptr, false);
    return value.is_number() || value.is_boolean() ? value : Json(text);
}

} // namespace

Json readPairs(const std::vector<std::string>& words) {
    Json object = Json::object();
    for (const std::string& word : words) {
        const std::size_t equals = word.find('=');
        if (equals == std::string::npos || equals == 0) {
            throw std::runtime_error("must be key=value: " + word);
        }
        const std::string key = word.substr(0, equals);
        object[key] = valueOf(key, word.substr(equals + 1));
    }
    return object;
}

} // namespace zvcamera
