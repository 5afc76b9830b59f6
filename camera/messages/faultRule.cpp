#include "faultRule.h"

#include "commandNames.h"

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

const FaultKind* readKind(JsonReader& reader) {
    std::string name;
    reader.text("fault", name);
    const FaultKind* kind = findFaultKind(name);
    if (kind == nullptr) {
        reader.fail("fault", name.empty() ? "missing" : "no such fault: " + name);
    }
    return kind;
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
    const FaultParameter& parameter = read.kind->parameter;
    read.value = parameter.standard;
    if (parameter.key != nullptr) {
        reader.number(parameter.key, read.value, parameter.low, parameter.high);
    }
    if (read.kind->hitsPage != nullptr && !answersPages(read.command)) {
        reader.fail("command", read.command + " does not answer pages, which " + read.kind->name + " spoils");
    }
    reader.number("skip", read.skip, 0, countLimit);
    reader.number("count", read.left, 0, countLimit);
    read.forEver = read.left == 0;
    reader.finish();
    return read;
}

Json toJson(const FaultRule& rule) {
    Json json{{"id", rule.id},
              {"command", rule.command},
              {"fault", rule.kind->name},
              {"hits", rule.hits},
              {"skip", rule.skip}};
    json["left"] = rule.forEver ? Json("all") : Json(rule.left);
    if (rule.kind->parameter.key != nullptr) {
        json[rule.kind->parameter.key] = rule.value;
    }
    return json;
}

std::string faultParameter(const std::string& fault) {
    const FaultKind* kind = findFaultKind(fault);
    if (kind == nullptr) {
        throw JsonError("no such fault: " + fault);
    }
    return kind->parameter.key == nullptr ? "" : kind->parameter.key;
}

} // namespace zvcamera
