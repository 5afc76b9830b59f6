// The commands of the BLE daemon.
#pragma once

#include <cstdint>

// The first byte of a request's parameter block, and what follows it there. Numbers are single bytes, addresses six
// bytes, last octet first.
enum class BleCommand : std::uint8_t {
    Scan = 1,               // start or stop
    PairStart = 2,          // address, address type
    PairCancel = 3,         // address, address type
    ScanListPage = 4,       // start index, most entries
    WhitelistPage = 6,      // start index, most entries
    WhitelistConfigure = 7, // operation, argument, address
    SetConfiguration = 8,   // 0, automatic connection
    PairStatus = 9,
    GetConfiguration = 10,
};

// The code as it stands in a parameter block.
constexpr std::uint8_t codeOf(BleCommand command) {
    return static_cast<std::uint8_t>(command);
}
