#include "scenario.h"

#include <fstream>
#include <sstream>

namespace zvcamera {
namespace {

constexpr std::size_t fileLimit = std::size_t{4} << 20;

std::string readWhole(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw JsonError(path + ": cannot be opened");
    }
    std::string text(fileLimit + 1, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.gcount()));
    if (text.size() > fileLimit) {
        throw JsonError(path + ": larger than a scenario may be");
    }
    return text;
}

} // namespace

Scenario Scenario::load(const std::string& path) {
    Scenario scenario;
    try {
        scenario.document_ = parseJson(readWhole(path));
        JsonReader reader(scenario.document_, "");
        std::string description;
        reader.text("description", description);
        for (const char* name : {"identity", "state", "analytics", "ble", "faults"}) {
            reader.any(name);
            scenario.part(name);
        }
        reader.finish();
    } catch (const Json::exception& error) {
        throw JsonError(path + ": " + plainText(error));
    } catch (const JsonError& error) {
        const std::string text = error.what();
        throw JsonError(text.rfind(path, 0) == 0 ? text : path + ": " + text);
    }
    return scenario;
}

const Json& Scenario::part(const std::string& name) const {
    static const Json noObject = Json::object();
    static const Json noArray = Json::array();
    const bool isArray = name == "faults";
    const auto found = document_.find(name);
    if (found == document_.end()) {
        return isArray ? noArray : noObject;
    }
    if (isArray ? !found->is_array() : !found->is_object()) {
        throw JsonError(name + (isArray ? ": must be an array" : ": must be an object"));
    }
    return *found;
}

std::uint64_t Scenario::seed() const {
    const Json& ble = part("ble");
    const auto found = ble.find("seed");
    return found != ble.end() && found->is_number_unsigned() ? found->get<std::uint64_t>() : 1;
}

std::string toLine(const Json& value) {
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

} // namespace zvcamera
