// ble ...: the radio of zvBleD.
#include "bleText.h"
#include "groups.h"
#include "keyValue.h"

namespace zvcamera {
namespace {

constexpr const char* daemon = "zvBleD";

// What a subcommand of the radio is given.
struct Words {
    std::string address;
    std::vector<std::string> pairs;
    std::string word;
    int number = 0;
    std::optional<int> id;
    bool own = false;
};

using Action = std::function<void(Tool& tool, const Words& words)>;
using WordsPtr = std::shared_ptr<Words>;

void act(CLI::App* command, Tool& tool, const WordsPtr& words, const Action& action) {
    command->callback([&tool, words, action] { tool.does([&tool, words, action] { action(tool, *words); }); });
}

void call(Tool& tool, const char* op, const Json& arguments = Json::object()) {
    tool.call(daemon, op, arguments);
}

// Shows the radio, or one of its parts.
void show(Tool& tool, const char* part) {
    const Json state = tool.call(daemon, "ble");
    const bool all = std::string(part).empty();
    if (tool.json()) {
        tool.print(all ? state : state.at(part));
    } else {
        std::fputs(bleText(state, part).c_str(), stdout);
    }
}

// A group whose first word alone shows a part.
CLI::App* addGroup(CLI::App& parent, Tool& tool, const char* name, const char* help, const char* part) {
    auto* group = parent.add_subcommand(name, help);
    group->require_subcommand(0, 1);
    group->callback([&tool, group, part] {
        if (group->get_subcommands().empty()) {
            tool.does([&tool, part] { show(tool, part); });
        }
    });
    return group;
}

void addDevices(CLI::App& ble, Tool& tool) {
    auto* group = addGroup(ble, tool, "device", "The devices in the air (alone: list them)", "devices");
    const auto words = std::make_shared<Words>();
    auto* set = group->add_subcommand(
        "set", "Add or change a device: address_type, name, rssi, rssi_variation, uuid16 and uuid128\n"
               "(comma between several), presence (scheduled, present, away), from_ms, to_ms,\n"
               "period_ms, found_after_ms, pairing (success, failure, silent), pairing_ms, mitm");
    set->add_option("address", words->address)->required();
    set->add_option("key=value", words->pairs);
    act(set, tool, words, [](Tool& t, const Words& w) {
        Json device = readPairs(w.pairs);
        device["address"] = w.address;
        call(t, "device_set", {{"device", device}});
    });
    auto* remove = group->add_subcommand("remove", "Remove a device");
    remove->add_option("address", words->address)->required();
    act(remove, tool, words, [](Tool& t, const Words& w) { call(t, "device_remove", {{"address", w.address}}); });
}

void addWhitelist(CLI::App& ble, Tool& tool) {
    auto* group = addGroup(ble, tool, "whitelist", "The paired devices (alone: list them)", "whitelist");
    const auto words = std::make_shared<Words>();
    auto* set = group->add_subcommand("set", "Add or change a paired device: address_type, name, mitm, auto_connect,\n"
                                             "connected, in_use (0 frees the slot)");
    set->add_option("address", words->address)->required();
    set->add_option("key=value", words->pairs);
    act(set, tool, words, [](Tool& t, const Words& w) {
        Json slot = readPairs(w.pairs);
        slot["address"] = w.address;
        call(t, "whitelist_set", {{"slot", slot}});
    });
    auto* remove = group->add_subcommand("remove", "Free the slot of a device");
    remove->add_option("address", words->address)->required();
    act(remove, tool, words, [](Tool& t, const Words& w) { call(t, "whitelist_remove", {{"address", w.address}}); });
    act(group->add_subcommand("clear", "Drop all slots"), tool, words,
        [](Tool& t, const Words&) { call(t, "whitelist_clear"); });
    act(group->add_subcommand("reset", "Take the scenario's whitelist again"), tool, words,
        [](Tool& t, const Words&) { call(t, "whitelist_reset"); });
}

void addPairing(CLI::App& ble, Tool& tool) {
    auto* group = addGroup(ble, tool, "pairing", "The pairing (alone: show it)", "pairing");
    const auto words = std::make_shared<Words>();
    auto* start = group->add_subcommand("start", "Start pairing a device");
    start->add_option("address", words->address)->required();
    start->add_option("type", words->number, "Address type");
    act(start, tool, words, [](Tool& t, const Words& w) {
        call(t, "pairing_start", {{"address", w.address}, {"address_type", w.number}});
    });
    auto* end = group->add_subcommand("end", "End the pairing under way");
    end->add_option("outcome", words->word)
        ->required()
        ->check(CLI::IsMember({"success", "failure", "timeout", "cancel"}));
    act(end, tool, words, [](Tool& t, const Words& w) { call(t, "pairing_end", {{"outcome", w.word}}); });
    auto* status = group->add_subcommand("status", "Set the status byte that clients are told until the next start");
    status->require_option(1);
    status->add_option("status", words->number)->check(CLI::Range(0, 255));
    status->add_flag("--own", words->own, "Tell the pairing's own status again");
    act(status, tool, words, [](Tool& t, const Words& w) {
        call(t, "pairing_status", {{"status", w.own ? Json() : Json(w.number)}});
    });
}

void addScan(CLI::App& ble, Tool& tool) {
    auto* group = addGroup(ble, tool, "scan", "The scan and what it found (alone: show them)", "scan");
    const auto words = std::make_shared<Words>();
    auto* start = group->add_subcommand("start", "Start a scan");
    words->number = 1;
    start->add_option("mode", words->number, "1 to 255, default 1")->check(CLI::Range(1, 255));
    act(start, tool, words, [](Tool& t, const Words& w) { call(t, "scan", {{"mode", w.number}}); });
    act(group->add_subcommand("stop", "Stop the scan; its list stays"), tool, words, [](Tool& t, const Words&) {
        call(t, "scan", {{"mode", 0}});
    });
}

void addRebuild(CLI::App& ble, Tool& tool) {
    const auto words = std::make_shared<Words>();
    auto* rebuild = ble.add_subcommand("rebuild", "Give a list a new id, as if it had been rebuilt");
    rebuild->add_option("list", words->word)->required()->check(CLI::IsMember({"scan", "whitelist"}));
    rebuild->add_option("id", words->id, "This id, instead of the next one")->check(CLI::Range(0, 255));
    act(rebuild, tool, words, [](Tool& t, const Words& w) {
        Json arguments{{"list", w.word}};
        if (w.id) {
            arguments["id"] = *w.id;
        }
        call(t, "rebuild", arguments);
    });
}

void addConnections(CLI::App& ble, Tool& tool) {
    for (const bool connected : {true, false}) {
        const auto words = std::make_shared<Words>();
        auto* command = ble.add_subcommand(connected ? "connect" : "disconnect",
                                           connected ? "Connect a paired device" : "Disconnect a paired device");
        command->add_option("address", words->address)->required();
        act(command, tool, words, [connected](Tool& t, const Words& w) {
            call(t, "connection", {{"address", w.address}, {"connected", connected}});
        });
    }
}

} // namespace

void addBleCommands(CLI::App& app, Tool& tool) {
    CLI::App* ble = addGroup(app, tool, "ble", "The radio (alone: show all of it)", "");
    const auto words = std::make_shared<Words>();
    auto* set = ble->add_subcommand(
        "set", "Change settings: auto_connect, seed, scan_page, whitelist_page, whitelist_slots, scan_ms,\n"
               "lost_ms, pairing_ms, pairing_timeout_ms, connect_ms");
    set->add_option("key=value", words->pairs)->required();
    act(set, tool, words, [](Tool& t, const Words& w) { call(t, "ble_set", {{"settings", readPairs(w.pairs)}}); });
    addDevices(*ble, tool);
    addWhitelist(*ble, tool);
    addScan(*ble, tool);
    addPairing(*ble, tool);
    addRebuild(*ble, tool);
    addConnections(*ble, tool);
}

} // namespace zvcamera
