// fault ...: replies spoilt on demand, by zvBleD and zvNetD.
#include "commandNames.h"
#include "faultRule.h"
#include "groups.h"

#include <algorithm>
#include <vector>

namespace zvcamera {
namespace {

// A rule's id is a daemon's own; in front of it stands whose.
struct Owner {
    const char* prefix;
    const char* daemon;
};
constexpr Owner owners[] = {{"ble:", "zvBleD"}, {"net:", "zvNetD"}};

struct Words {
    std::string command;
    std::string fault;
    std::optional<int> value;
    int count = 0;
    int skip = 0;
    std::string id;
};

bool concerns(const Owner& owner, const std::string& command) {
    const bool network = isPairingStateCommand(command);
    return command == anyCommand || network == (std::string(owner.prefix) == "net:");
}

std::vector<const char*> daemonsFor(const std::string& command) {
    std::vector<const char*> daemons;
    for (const Owner& owner : owners) {
        if (concerns(owner, command)) {
            daemons.push_back(owner.daemon);
        }
    }
    return daemons;
}

std::string prefixOf(const std::string& daemon) {
    const auto owner =
        std::find_if(std::begin(owners), std::end(owners), [&](const Owner& one) { return daemon == one.daemon; });
    return owner->prefix;
}

Json ruleOf(const Words& words) {
    Json rule{{"command", words.command}, {"fault", words.fault}, {"count", words.count}, {"skip", words.skip}};
    if (words.value) {
        const std::string parameter = faultParameter(words.fault);
        if (parameter.empty()) {
            throw JsonError("the fault " + words.fault + " takes no value");
        }
        rule[parameter] = *words.value;
    }
    return rule;
}

void add(Tool& tool, const Words& words) {
    const Json rule = ruleOf(words);
    const std::string command = readFaultRule(rule, "").command; // what is wrong is said before anybody is asked
    Json ids = Json::array();
    tool.callEach(daemonsFor(command), "fault_add", rule, [&](const std::string& daemon, const Json& added) {
        ids.push_back(prefixOf(daemon) + added.at("id").dump());
    });
    tool.print({{"added", ids}});
}

Json rules(Tool& tool) {
    Json all = Json::array();
    tool.callEach(daemonsFor(std::string(anyCommand)), "fault_list", Json::object(),
                  [&](const std::string& daemon, const Json& own) {
                      for (Json rule : own) {
                          rule["id"] = prefixOf(daemon) + rule.at("id").dump();
                          all.push_back(std::move(rule));
                      }
                  });
    return all;
}

void list(Tool& tool) {
    const Json all = rules(tool);
    if (tool.json()) {
        tool.print(all);
        return;
    }
    for (const Json& rule : all) {
        std::string text;
        for (const char* key : {"id", "command", "fault", "ms", "status", "category", "bytes", "by"}) {
            if (rule.contains(key)) {
                const Json& value = rule.at(key);
                text += (value.is_string() ? value.get<std::string>() : key + ("=" + value.dump())) + "  ";
            }
        }
        const Json& left = rule.at("left");
        std::printf("%sskip %s, left %s, hits %s\n", text.c_str(), rule.at("skip").dump().c_str(),
                    left.is_string() ? "all" : left.dump().c_str(), rule.at("hits").dump().c_str());
    }
}

void remove(Tool& tool, const std::string& id) {
    for (const Owner& owner : owners) {
        const std::string prefix = owner.prefix;
        if (id.rfind(prefix, 0) == 0) {
            const Json number = Json::parse(id.substr(prefix.size()), nullptr, false);
            if (number.is_number_unsigned()) {
                tool.call(owner.daemon, "fault_remove", {{"id", number}});
                return;
            }
        }
    }
    throw JsonError("a rule's id is that of \"zvcam fault list\", such as ble:1");
}

} // namespace

void addFaultCommands(CLI::App& app, Tool& tool) {
    auto* group = app.add_subcommand("fault", "Spoil replies of zvBleD and zvNetD");
    group->require_subcommand(1);
    const auto words = std::make_shared<Words>();
    auto* adding = group->add_subcommand(
        "add", "Add a rule: late MS, missing, refused STATUS, category CATEGORY, no_response, truncated BYTES,\n"
               "short BYTES, index BY, too_many BY, list_id BY, extra BYTES, garbage BYTES");
    adding->add_option("command", words->command, "A BLE command by name or code, PD, PX, or * for all")->required();
    adding->add_option("fault", words->fault)->required();
    adding->add_option("value", words->value, "The fault's parameter");
    adding->add_option("--count", words->count, "Replies to hit; 0: all");
    adding->add_option("--skip", words->skip, "Replies to let pass first");
    adding->callback([&tool, words] { tool.does([&tool, words] { add(tool, *words); }); });
    group->add_subcommand("list", "List the rules")->callback([&tool] { tool.does([&tool] { list(tool); }); });
    auto* removing = group->add_subcommand("remove", "Remove a rule");
    removing->add_option("id", words->id)->required();
    removing->callback([&tool, words] { tool.does([&tool, words] { remove(tool, words->id); }); });
    group->add_subcommand("clear", "Remove all rules")->callback([&tool] {
        tool.does([&tool] {
            tool.callEach(daemonsFor(std::string(anyCommand)), "fault_clear", Json::object(),
                          [](const std::string&, const Json&) {});
        });
    });
}

} // namespace zvcamera
