#include "radioState.h"

namespace zvcamera {
namespace {

Json foundJson(const Scan::Found& found) {
    return {{"address", toText(found.entry.address)},
            {"address_type", found.entry.addressType},
            {"rssi", found.entry.rssi},
            {"name", found.entry.name},
            {"uuid16", uuidList(found.entry.uuid16, uuid16Size)},
            {"uuid128", uuidList(found.entry.uuid128, uuid128Size)},
            {"seen_ms", found.seen}};
}

Json scanJson(const Scan& scan) {
    Json found = Json::array();
    for (const Scan::Found& one : scan.found) {
        found.push_back(foundJson(one));
    }
    return {{"running", scan.running}, {"mode", scan.mode}, {"list_id", scan.listId}, {"found", found}};
}

Json pairingJson(const Pairing& pairing) {
    return {{"status", pairing.told()},
            {"meaning", toText(static_cast<PairingStatus>(pairing.told()))},
            {"by_hand", pairing.byHand.has_value()},
            {"own_status", pairing.status},
            {"own_meaning", toText(pairing.status)},
            {"address", toText(pairing.address)},
            {"address_type", pairing.addressType}};
}

Json whitelistJson(const Whitelist& whitelist) {
    Json slots = Json::array();
    for (const Slot& slot : whitelist.slots()) {
        slots.push_back(toJson(slot));
    }
    return {{"list_id", whitelist.listId()}, {"slots", slots}};
}

} // namespace

void setUpRadio(Radio& radio, const Json& ble) {
    JsonReader reader(ble, "ble");
    readSettings(reader, radio.settings);
    reader.byte("auto_connect", radio.autoConnect);
    reader.array("devices", [&](const Json& item, const std::string& where) {
        Device device;
        readDevice(item, where, device);
        if (radio.findDevice(device.address) != nullptr) {
            throw JsonError(where + ".address: a device with this address stands before");
        }
        try {
            radio.setDevice(std::move(device));
        } catch (const Refusal& error) {
            throw JsonError(where + ": " + error.what());
        }
    });
    std::vector<Slot> slots = readSlots(reader, "whitelist");
    if (slots.size() > radio.settings.whitelistSlots) {
        reader.fail("whitelist", "more slots than whitelist_slots, " + std::to_string(radio.settings.whitelistSlots));
    }
    radio.whitelist.assign(std::move(slots));
    reader.finish();
}

std::vector<Slot> scenarioWhitelist(const Json& ble) {
    JsonReader reader(ble, "ble");
    return readSlots(reader, "whitelist");
}

Json radioState(const Radio& radio, Millis now) {
    Json devices = Json::array();
    for (const Device& device : radio.devices()) {
        devices.push_back(toJson(device));
        devices.back()["in_range"] = device.inRange(now);
        devices.back()["rssi_now"] = radio.rssi(device, now);
    }
    return {{"now_ms", now},
            {"settings", toJson(radio.settings)},
            {"auto_connect", radio.autoConnect},
            {"scan", scanJson(radio.scan())},
            {"pairing", pairingJson(radio.pairing())},
            {"whitelist", whitelistJson(radio.whitelist)},
            {"devices", devices}};
}

} // namespace zvcamera
