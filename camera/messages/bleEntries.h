// The pages of the BLE daemon's lists, and their entries.
#pragma once

#include "bleAddress.h"

#include <cstdint>
#include <string>

namespace zvcamera {

constexpr std::size_t scanEntrySize = 82;
constexpr std::size_t whitelistEntrySize = 41;
// Bytes of an entry for its parts of varying length: name and UUIDs.
constexpr std::size_t scanStorage = 68;
constexpr std::size_t whitelistStorage = 31;

// A page: {list id, total, index, count}, then `count` entries.
constexpr std::size_t pageHeaderSize = 4;
// Bytes of a reply message around its page: message header, element header, status, page header, tail.
constexpr std::size_t pageOverhead = 4 + 4 + 1 + pageHeaderSize + 4;
constexpr std::size_t scanPageLimit = (clientMessageSize - pageOverhead) / scanEntrySize;
constexpr std::size_t whitelistPageLimit = (clientMessageSize - pageOverhead) / whitelistEntrySize;
static_assert(scanPageLimit == 18 && whitelistPageLimit == 36);
// The most entries of a list: a page gives their number in one byte.
constexpr std::size_t listLimit = 255;

constexpr std::uint16_t flagConnected = 0x0002;
constexpr std::uint16_t flagMitm = 0x0008;
constexpr std::uint16_t flagAutoConnect = 0x0010;
constexpr std::uint16_t flagInUse = 0x0040;

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

// Append an entry of exactly its size. The end of a long name is left out, and each UUID that does not fit.
void appendEntry(Bytes& out, const ScanEntry& entry);
void appendEntry(Bytes& out, const WhitelistEntry& entry);
// Read an entry; `bytes` holds at least its size. A part that leads out of the entry is cut at the end of the entry.
ScanEntry readScanEntry(ByteSpan bytes);
WhitelistEntry readWhitelistEntry(ByteSpan bytes);

} // namespace zvcamera
