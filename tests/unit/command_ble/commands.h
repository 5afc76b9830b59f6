// Every command that goes over the link, for the tests that hold for all of them.
#pragma once

#include "bleTest.h"
#include "command_ble.h"

struct Command {
    Handler handler;
    const char* query;
    const char* failure; // the line that the command itself logs when its request is not accepted
};

inline constexpr Command commands[] = {
    {ble_pairing_phase, "p=1", "ble_pairing_phase p=1 command failed"},
    {ble_configure, "", "Failed to get proper response for get ble config: -1"},
    {ble_configure, "auto_connect=1", "auto_connect=1 command failed"},
    {ble_scan, "p=1", "ble_scan p=1 command failed"},
    {ble_scan_list, "", "Failed to get proper response for scan results: -1"},
    {ble_scan_list, "p=3", "Failed to get proper response for scan results: -1"},
    {ble_pair_start, "device=1", "ble_pair_start device=1 command failed"},
    {ble_pair_cancel, "device=1", "ble_pair_cancel device=1 command failed"},
    {ble_pair_status, "", "ble_pair_status command failed"},
    {ble_whitelist_list, "", "Failed to get proper response for scan results: -1"},
    {ble_whitelist_list, "p=3", "Failed to get proper response for scan results: -1"},
    {ble_whitelist_configure, "device=1&remove=1", "ble_whitelist_configure device=1&remove=1 command failed"},
    {ble_whitelist_device, "address=1", "Failed to get proper response for scan results: -1"},
};
