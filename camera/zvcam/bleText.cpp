#include "bleText.h"

#include "quoteText.h"

#include <cstdio>
#include <nlohmann/json.hpp>

namespace zvcamera {
namespace {

std::string textOf(const Json& json) {
    return json.is_string() ? json.get<std::string>() : json.dump();
}

std::string number(const Json& json, int width) {
    char text[32];
    std::snprintf(text, sizeof text, "%*lld", width, static_cast<long long>(json.get<std::int64_t>()));
    return text;
}

std::string uuids(const Json& device) {
    std::string text;
    for (const char* list : {"uuid16", "uuid128"}) {
        for (const Json& uuid : device.at(list)) {
            text += " " + textOf(uuid);
        }
    }
    return text;
}

std::string aired(const Json& device, const char* rssi) {
    return "  " + textOf(device.at("address")) + "  type " + textOf(device.at("address_type")) + " " +
           number(device.at(rssi), 5) + " dBm  " + quoteText(textOf(device.at("name"))) + uuids(device);
}

// What "ble device set" takes and the line above does not show, in its words.
std::string settingsOf(const Json& device) {
    std::string text;
    for (const char* key :
         {"rssi", "rssi_variation", "from_ms", "to_ms", "period_ms", "found_after_ms", "pairing_ms"}) {
        text += (text.empty() ? "" : " ") + std::string(key) + "=" + textOf(device.at(key));
    }
    return text;
}

std::string scanText(const Json& scan) {
    const bool running = scan.at("running").get<bool>();
    std::string text = "scan: " + (running ? "running, mode " + textOf(scan.at("mode")) : std::string("stopped")) +
                       ", list id " + textOf(scan.at("list_id")) + ", " + std::to_string(scan.at("found").size()) +
                       " found\n";
    for (const Json& found : scan.at("found")) {
        text += aired(found, "rssi") + ", heard at " + textOf(found.at("seen_ms")) + " ms\n";
    }
    return text;
}

std::string pairingText(const Json& pairing) {
    const auto status = [&](const char* number, const char* meaning) {
        return textOf(pairing.at(number)) + " (" + textOf(pairing.at(meaning)) + ")";
    };
    return "pairing: " + status("status", "meaning") +
           (pairing.at("by_hand").get<bool>() ? " by hand, its own " + status("own_status", "own_meaning") : "") +
           ", device " + textOf(pairing.at("address")) + " type " + textOf(pairing.at("address_type")) + "\n";
}

std::string slotText(const Json& slot) {
    const bool inUse = slot.at("in_use").get<bool>();
    std::string text = (inUse ? "  " : "  free: ") + textOf(slot.at("address")) + "  type " +
                       textOf(slot.at("address_type")) + "  " + quoteText(textOf(slot.at("name")));
    for (const char* flag : {"mitm", "auto_connect", "connected"}) {
        text += slot.at(flag).get<bool>() ? std::string(" ") + flag : "";
    }
    return text;
}

std::string whitelistText(const Json& whitelist) {
    std::string text = "whitelist: list id " + textOf(whitelist.at("list_id")) + ", " +
                       std::to_string(whitelist.at("slots").size()) + " slots\n";
    int index = 0;
    for (const Json& slot : whitelist.at("slots")) {
        text += number(index++, 5) + slotText(slot) + "\n";
    }
    return text;
}

std::string devicesText(const Json& devices) {
    std::string text = "devices: " + std::to_string(devices.size()) + "\n";
    for (const Json& device : devices) {
        text += aired(device, "rssi_now") + (device.at("in_range").get<bool>() ? ", in range" : ", out of range") +
                ", " + textOf(device.at("presence")) + ", pairing " + textOf(device.at("pairing")) +
                (device.at("mitm").get<bool>() ? ", mitm" : "") + "\n                " + settingsOf(device) + "\n";
    }
    return text;
}

} // namespace

std::string bleText(const Json& state, const std::string& part) {
    std::string text;
    const auto wanted = [&](const char* name) { return part.empty() || part == name; };
    if (part.empty()) {
        text += "time: " + textOf(state.at("now_ms")) + " ms since the start\n";
        text += "settings: auto_connect=" + textOf(state.at("auto_connect"));
        for (const auto& [key, value] : state.at("settings").items()) {
            text += " " + key + "=" + textOf(value);
        }
        text += "\n";
    }
    text += wanted("devices") ? devicesText(state.at("devices")) : "";
    text += wanted("scan") ? scanText(state.at("scan")) : "";
    text += wanted("pairing") ? pairingText(state.at("pairing")) : "";
    text += wanted("whitelist") ? whitelistText(state.at("whitelist")) : "";
    return text;
}

} // namespace zvcamera
