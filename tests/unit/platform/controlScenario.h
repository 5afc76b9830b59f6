// What zvControlD holds in the tests of the getters.
#pragma once

namespace zvtest {

inline constexpr const char* scenario = R"({
    "identity": {"model_number": 34, "model_name": "Name", "firmware_version": "HD9.01.02", "serial_number": "C1234",
                 "board_type": "0x07", "ap_mac": "d0d919aabbcc", "ap_ssid": "caf\u00e9 \"x\"",
                 "ap_has_default_credentials": false},
    "state": {"recording": 1, "ap_pairing_state": -2}})";

} // namespace zvtest
