// The radio in JSON: set up from the scenario, shown to and changed by the camera's tool.
#pragma once

#include "adminServer.h"
#include "radio.h"

#include <nlohmann/json.hpp>

namespace zvcamera {

// Sets up a fresh radio from the scenario's "ble" part: settings, "auto_connect", "devices", "whitelist". Throws
// JsonError.
void setUpRadio(Radio& radio, const Json& ble);
// The whitelist of that part alone; throws JsonError.
std::vector<Slot> scenarioWhitelist(const Json& ble);

// Everything there is to know about the radio.
Json radioState(const Radio& radio, Millis now);

/*
 * Admin operations: ble (the state), ble_set {settings}, device_set {device}, device_remove {address}, whitelist_set
 * {slot}, whitelist_remove {address}, whitelist_clear, whitelist_reset, scan {mode}, rebuild {list, id}, pairing_start
 * {address, address_type}, pairing_end {outcome}, pairing_status {status, null for its own}, connection {address,
 * connected}. The radio is advanced to now() before each of them, and `changed` called after it.
 */
struct RadioAdmin {
    Radio& radio;
    Json scenario; // its "ble" part
    std::function<Millis()> now;
    std::function<void()> changed;

    void addOperations(AdminServer& admin);
};

} // namespace zvcamera
