/*
 * The commands of the BLE daemon and the status bytes of replies.
 *
 * A request's data element is the command code and its parameters. A reply's response element is a status byte and the
 * command's data.
 */
#pragma once

#include "bleEntries.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace zvcamera {

enum class BleCode : std::uint8_t {
    Scan = 1,               // {1, mode}: 0 stops, anything else starts
    PairStart = 2,          // {2, address, address type}
    PairCancel = 3,         // {3, address, address type}
    ScanList = 4,           // {4, start index, maximum}: a page of 82-byte entries
    WhitelistList = 6,      // {6, start index, maximum}: a page of 41-byte entries
    WhitelistConfigure = 7, // {7, operation, argument, address}
    ConfigSet = 8,          // {8, 0, auto connect}
    PairStatus = 9,         // {9}: one byte
    ConfigGet = 10,         // {10}: one byte
};

struct CommandInfo {
    BleCode code;
    const char* name;
    std::size_t dataSize;  // of the request, the code included
    std::size_t entrySize; // of a page's entries; 0 for a command that does not answer pages
};

constexpr std::array<CommandInfo, 9> bleCommands{{
    {BleCode::Scan, "scan", 2, 0},
    {BleCode::PairStart, "pair_start", 8, 0},
    {BleCode::PairCancel, "pair_cancel", 8, 0},
    {BleCode::ScanList, "scan_list", 3, scanEntrySize},
    {BleCode::WhitelistList, "whitelist_list", 3, whitelistEntrySize},
    {BleCode::WhitelistConfigure, "whitelist_configure", 9, 0},
    {BleCode::ConfigSet, "config_set", 3, 0},
    {BleCode::PairStatus, "pair_status", 1, 0},
    {BleCode::ConfigGet, "config_get", 1, 0},
}};

// The command of a code, or of a name or a decimal code; null when there is none.
const CommandInfo* findCommand(std::uint8_t code);
const CommandInfo* findCommand(std::string_view nameOrCode);

// Status byte of a reply of either daemon.
enum class Status : std::uint8_t {
    Ok = 0,
    UnknownCommand = 1,
    BadParameters = 2, // a data block of the wrong size, an unknown operation or destination
    Busy = 3,          // another pairing is under way
    NotFound = 4,      // no such device, no such pairing
    NoRoom = 5,        // no free slot in the whitelist
    Unreachable = 6,   // the daemon that the request is for is absent or does not keep up
};
const char* toText(Status status);

enum class PairingStatus : std::uint8_t {
    Idle = 0,
    Pairing = 1,
    Paired = 2,
    Failed = 3,
    Cancelled = 4,
    TimedOut = 5,
};
const char* toText(PairingStatus status);

constexpr std::uint8_t whitelistRemove = 0;
constexpr std::uint8_t whitelistAutoConnect = 4;

} // namespace zvcamera
