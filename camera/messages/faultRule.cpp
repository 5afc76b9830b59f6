#include "faultRule.h"

#include "commandNames.h"
#include "hexText.h"

#include <nlohmann/json.hpp>

namespace zvcamera {
namespace {

constexpr std::int64_t countLimit = 1000000;

std::string readCommand(JsonReader& reader) {
    const Json* value = reader.any("command");
    if (value == nullptr) {
        reader.fail("command", "missing");
    }
    std::string text;
    if (value->is_number_integer()) {
        text = std::to_string(value->get<std::int64_t>());
    } else {
        reader.text("command", text);
    }
    std::string name = canonicalCommand(text);
    if (name.empty()) {
        reader.fail("command", "no such command: " + text);
    }
    return name;
}

bool isForPath(const Json& rule) {
    const auto command = rule.is_object() ? rule.find("command") : rule.end();
    return rule.is_object() && command != rule.end() && command->is_string() &&
           command->get_ref<const std::string&>().rfind('/', 0) == 0;
}

const FaultKind* readKind(JsonReader& reader) {
    std::string name;
    reader.text("fault", name);
    const FaultKind* kind = findFaultKind(name);
    if (kind == nullptr) {
        reader.fail("fault", name.empty() ? "missing" : "no such fault: " + name);
    }
    return kind;
}

void readBytes(JsonReader& reader, const FaultParameter& parameter, Bytes& bytes) {
    std::string hex;
    if (!reader.text(parameter.key, hex)) {
        reader.fail(parameter.key, "missing");
    }
    try {
        bytes = fromHex(hex);
    } catch (const std::invalid_argument& error) {
        reader.fail(parameter.key, error.what());
    }
    if (bytes.size() > static_cast<std::size_t>(parameter.high)) {
        reader.fail(parameter.key, "must be at most " + std::to_string(parameter.high) + " bytes");
    }
}

void readValue(JsonReader& reader, FaultRule& rule) {
    const FaultParameter& parameter = rule.kind->parameter;
    if (parameter.isBytes) {
        readBytes(reader, parameter, rule.value.bytes);
        return;
    }
    rule.value.number = parameter.standard;
    if (parameter.key != nullptr) {
        reader.number(parameter.key, rule.value.number, parameter.low, parameter.high);
    }
    rule.most = rule.value.number;
    if (parameter.mostKey != nullptr) {
        reader.number(parameter.mostKey, rule.most, rule.value.number, parameter.high);
    }
}

bool answersPages(const std::string& command) {
    const CommandInfo* info = findCommand(command);
    return command == anyCommand || (info != nullptr && info->entrySize > 0);
}

} // namespace

bool FaultRule::concerns(const RequestInfo& request) const {
    if (command != anyCommand && command != request.command) {
        return false;
    }
    return kind->hitsPage == nullptr || (request.page() != nullptr && kind->hitsPage(request));
}

FaultRule readFaultRule(const Json& rule, const std::string& where) {
    JsonReader reader(rule, where);
    FaultRule read;
    read.command = readCommand(reader);
    read.kind = readKind(reader);
    readValue(reader, read);
    if (read.kind->hitsPage != nullptr && !answersPages(read.command)) {
        reader.fail("command", read.command + " does not answer pages, which " + read.kind->name + " spoils");
    }
    reader.number("skip", read.skip, 0, countLimit);
    reader.number("count", read.left, 0, countLimit);
    reader.fraction("probability", read.probability);
    read.forEver = read.left == 0;
    reader.finish();
    return read;
}

std::vector<FaultRule> readFaultRules(const Json& rules) {
    std::vector<FaultRule> read;
    std::size_t index = 0;
    for (const Json& rule : rules) {
        const std::string where = "faults[" + std::to_string(index++) + "]";
        if (!isForPath(rule)) {
            read.push_back(readFaultRule(rule, where));
        }
    }
    return read;
}

Json toJson(const FaultRule& rule) {
    Json json{{"id", rule.id},
              {"command", rule.command},
              {"fault", rule.kind->name},
              {"hits", rule.hits},
              {"skip", rule.skip}};
    json["left"] = rule.forEver ? Json("all") : Json(rule.left);
    const FaultParameter& parameter = rule.kind->parameter;
    if (parameter.key != nullptr) {
        json[parameter.key] = parameter.isBytes ? Json(toHex(rule.value.bytes)) : Json(rule.value.number);
    }
    if (rule.most > rule.value.number) {
        json[parameter.mostKey] = rule.most;
    }
    if (rule.probability < 1) {
        json["probability"] = rule.probability;
    }
    return json;
}

} // namespace zvcamera
