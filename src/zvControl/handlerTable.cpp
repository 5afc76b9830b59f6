#include "handlerTable.h"

#include "command_analytics.h"
#include "command_ble.h"
#include "command_execute.h"
#include "zvErrno.h"

#include <iterator>

namespace {

// The pairing availability check has no hooks, since it only reads camera state. Fixed: clients know these URIs.
// clang-format off
constexpr CustomHandler rows[] = {
    {"command/ble/pairing_available", ble_pairing_available, nullptr, nullptr},
    {"command/ble/pairing_phase", ble_pairing_phase, ble_interface_open, ble_interface_close},
    {"command/ble/configure", ble_configure, ble_interface_open, ble_interface_close},
    {"command/ble/scan", ble_scan, ble_interface_open, ble_interface_close},
    {"command/ble/scan/list", ble_scan_list, ble_interface_open, ble_interface_close},
    {"command/ble/pair/start", ble_pair_start, ble_interface_open, ble_interface_close},
    {"command/ble/pair/cancel", ble_pair_cancel, ble_interface_open, ble_interface_close},
    {"command/ble/pair/status", ble_pair_status, ble_interface_open, ble_interface_close},
    {"command/ble/whitelist/list", ble_whitelist_list, ble_interface_open, ble_interface_close},
    {"command/ble/whitelist/configure", ble_whitelist_configure, ble_interface_open, ble_interface_close},
    {"command/ble/whitelist/device", ble_whitelist_device, ble_interface_open, ble_interface_close},
    {"execute", handle_command_execute, nullptr, nullptr},
    {"analytics/get", handle_command_analytics, nullptr, nullptr},
    {"analytics/clear", handle_command_analytics_clear, nullptr, nullptr},
};
// clang-format on
static_assert(std::size(rows) == 14);

} // namespace

std::span<const CustomHandler> custom_handlers() {
    return rows;
}

int register_custom_handlers() {
    for (const CustomHandler& row : rows) {
        const int result = zvcontrol_uri_add_handler(row.uri, row.handler, row.openHook, row.closeHook);
        if (result != ZV_OK) {
            return result;
        }
    }
    return ZV_OK;
}
