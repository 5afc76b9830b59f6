/*
 * What is said to the BLE daemon and what it says: command codes, status bytes, pages and entries.
 *
 * A request's data element is the command code and its parameters. A reply's response element is a status byte and the
 * command's data. Addresses are stored least significant byte first and written as twelve hexadecimal digits, most
 * significant byte first.
 */
#pragma once

#include "bytes.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

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

constexpr std::size_t scanEntrySize = 82;
constexpr std::size_t whitelistEntrySize = 41;

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

// Null for a code, or a name (or a decimal code), that is none.
const CommandInfo* findCommand(std::uint8_t code);
const CommandInfo* findCommand(std::string_view nameOrCode);

// Status byte of a reply of either daemon.
enum class Status : std::uint8_t {
    Ok = 0,
    UnknownCommand = 1,
    BadParameters = 2, // a data block of the wrong size, an operation or an element that is none
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

constexpr std::uint16_t flagConnected = 0x0002;
constexpr std::uint16_t flagMitm = 0x0008;
constexpr std::uint16_t flagAutoConnect = 0x0010;
constexpr std::uint16_t flagInUse = 0x0040;

using Address = std::array<std::uint8_t, 6>;
// Twelve hexadecimal digits, with or without ":" between the pairs; throws std::invalid_argument.
Address parseAddress(std::string_view text);
std::string toText(const Address& address);

// A service UUID of 16 or 128 bits as people write it ("180d", "6e400001-b5a3-..."; dashes optional), stored least
// significant byte first. Throws std::invalid_argument when it is not `size` bytes.
Bytes parseUuid(std::string_view text, std::size_t size);
std::string uuidText(ByteSpan stored);

// {list id, total, index, count} and `count` entries.
constexpr std::size_t pageHeaderSize = 4;
// Bytes of a reply message around its page: message header, element header, status, page header, tail.
constexpr std::size_t pageOverhead = 4 + 4 + 1 + pageHeaderSize + 4;
constexpr std::size_t scanPageLimit = (clientMessageSize - pageOverhead) / scanEntrySize;
constexpr std::size_t whitelistPageLimit = (clientMessageSize - pageOverhead) / whitelistEntrySize;
static_assert(scanPageLimit == 18 && whitelistPageLimit == 36);

constexpr std::size_t scanStorage = 68;
constexpr std::size_t whitelistStorage = 31;

struct ScanEntry {
    Address address{};
    std::uint8_t addressType = 0;
    std::int8_t rssi = 0;
    std::string name;
    Bytes uuid16;  // 2 bytes each, least significant first
    Bytes uuid128; // 16 bytes each, likewise
};
struct WhitelistEntry {
    Address address{};
    std::uint16_t flags = 0;
    std::string name;
};

// Append an entry of exactly its size. What exceeds the entry's storage is left out: the end of the name, whole UUIDs.
void appendEntry(Bytes& out, const ScanEntry& entry);
void appendEntry(Bytes& out, const WhitelistEntry& entry);
// Read an entry; `bytes` holds at least its size. Offsets that lead out of the entry yield what lies inside.
ScanEntry readScanEntry(ByteSpan bytes);
WhitelistEntry readWhitelistEntry(ByteSpan bytes);

} // namespace zvcamera
