#include "radioState.h"

namespace zvcamera {
namespace {

// The parameter of an operation, which must be there.
const Json& required(const Json& request, const char* key) {
    const auto found = request.find(key);
    if (found == request.end()) {
        throw JsonError(std::string(key) + ": missing");
    }
    return *found;
}

Address addressOf(const Json& request) {
    JsonReader reader(request, "");
    return readAddress(reader, "address");
}

std::uint8_t byteOf(const Json& request, const char* key) {
    required(request, key);
    JsonReader reader(request, "");
    std::uint8_t value = 0;
    reader.byte(key, value);
    return value;
}

void set(Radio& radio, const Json& settings) {
    JsonReader reader(settings, "settings");
    Settings fresh = radio.settings;
    std::uint8_t autoConnect = radio.autoConnect;
    readSettings(reader, fresh);
    reader.byte("auto_connect", autoConnect);
    reader.finish();
    radio.settings = fresh;
    if (autoConnect != radio.autoConnect) {
        radio.autoConnect = autoConnect;
        radio.whitelist.changed();
    }
}

void setDevice(Radio& radio, const Json& json, Millis now) {
    JsonReader reader(json, "device");
    const Device* known = radio.findDevice(readAddress(reader, "address"));
    Device device = known != nullptr ? *known : Device();
    readDevice(json, "device", device);
    radio.setDevice(std::move(device), now);
}

void setSlot(Radio& radio, const Json& json) {
    JsonReader reader(json, "slot");
    const Slot* known = radio.whitelist.find(readAddress(reader, "address"));
    const Slot slot = readSlot(json, "slot", known != nullptr ? *known : Slot());
    if (radio.whitelist.take(slot, radio.settings.whitelistSlots) == nullptr) {
        throw Refusal("the whitelist has no free slot");
    }
    if (!slot.inUse) {
        radio.whitelist.remove(slot.address);
    }
}

void endPairing(Radio& radio, const std::string& outcome, Millis now) {
    const PairingStatus end = outcome == "success"   ? PairingStatus::Paired
                              : outcome == "failure" ? PairingStatus::Failed
                              : outcome == "timeout" ? PairingStatus::TimedOut
                              : outcome == "cancel"  ? PairingStatus::Cancelled
                                                     : PairingStatus::Idle;
    if (end == PairingStatus::Idle) {
        throw JsonError("outcome: must be one of success, failure, timeout, cancel");
    }
    if (!radio.endPairing(end, now)) {
        throw Refusal("no pairing is under way");
    }
}

void rebuild(Radio& radio, const Json& request) {
    std::optional<std::uint8_t> id;
    if (request.contains("id")) {
        id = byteOf(request, "id");
    }
    const Json& list = required(request, "list");
    if (list == "scan") {
        radio.rebuildScan(id);
    } else if (list == "whitelist") {
        radio.whitelist.rebuild(id);
    } else {
        throw JsonError("list: must be scan or whitelist");
    }
}

void connection(Radio& radio, const Json& request) {
    Slot* slot = radio.whitelist.find(addressOf(request));
    if (slot == nullptr) {
        throw Refusal("no such device in the whitelist");
    }
    JsonReader reader(request, "");
    required(request, "connected");
    reader.flag("connected", slot->connected);
    slot->connectAt.reset();
}

void mustBe(bool done, const char* otherwise) {
    if (!done) {
        throw Refusal(otherwise);
    }
}

} // namespace

void RadioAdmin::addOperations(AdminServer& admin) {
    const auto op = [&](const char* name, const std::function<void(Radio&, const Json&, Millis)>& work) {
        admin.on(name, [this, work](const Json& request) {
            const Millis time = now();
            radio.advance(time);
            work(radio, request, time);
            radio.advance(time);
            changed();
            return Json();
        });
    };
    admin.on("ble", [this](const Json&) {
        radio.advance(now());
        return radioState(radio, now());
    });
    op("ble_set", [](Radio& r, const Json& request, Millis) { set(r, required(request, "settings")); });
    op("device_set",
       [](Radio& r, const Json& request, Millis time) { setDevice(r, required(request, "device"), time); });
    op("device_remove",
       [](Radio& r, const Json& request, Millis) { mustBe(r.removeDevice(addressOf(request)), "no such device"); });
    op("whitelist_set", [](Radio& r, const Json& request, Millis) { setSlot(r, required(request, "slot")); });
    op("whitelist_remove", [](Radio& r, const Json& request, Millis) {
        mustBe(r.whitelist.remove(addressOf(request)), "no such device in the whitelist");
    });
    op("whitelist_clear", [](Radio& r, const Json&, Millis) { r.whitelist.assign({}); });
    op("whitelist_reset", [this](Radio& r, const Json&, Millis) { r.whitelist.assign(scenarioWhitelist(scenario)); });
    op("scan", [](Radio& r, const Json& request, Millis time) {
        const auto mode = byteOf(request, "mode");
        mode == 0 ? r.stopScan(time) : r.startScan(mode, time);
    });
    op("rebuild", [](Radio& r, const Json& request, Millis) { rebuild(r, request); });
    op("pairing_start", [](Radio& r, const Json& request, Millis time) {
        const auto type = request.contains("address_type") ? byteOf(request, "address_type") : std::uint8_t{0};
        const Status status = r.startPairing(addressOf(request), type, time);
        mustBe(status == Status::Ok, toText(status));
    });
    op("pairing_end", [](Radio& r, const Json& request, Millis time) {
        JsonReader reader(request, "");
        std::string outcome;
        required(request, "outcome");
        reader.text("outcome", outcome);
        endPairing(r, outcome, time);
    });
    op("pairing_status", [](Radio& r, const Json& request, Millis) {
        r.setPairingStatus(required(request, "status").is_null() ? std::nullopt
                                                                 : std::optional(byteOf(request, "status")));
    });
    op("connection", [](Radio& r, const Json& request, Millis) { connection(r, request); });
}

} // namespace zvcamera
