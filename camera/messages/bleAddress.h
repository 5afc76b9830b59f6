// Device addresses and service UUIDs: stored least significant byte first, written most significant byte first.
#pragma once

#include "bytes.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace zvcamera {

using Address = std::array<std::uint8_t, 6>;
// Twelve hexadecimal digits, with or without ":" between the pairs; throws std::invalid_argument.
Address parseAddress(std::string_view text);
std::string toText(const Address& address);
// The address that begins at an offset; the bytes hold the whole of it.
Address addressAt(ByteSpan bytes, std::size_t offset);

constexpr std::size_t uuid16Size = 2;
constexpr std::size_t uuid128Size = 16;
// A service UUID of 16 or 128 bits as people write it ("180d", "6e400001-b5a3-..."; dashes optional), stored least
// significant byte first. Throws std::invalid_argument when it is not `size` bytes.
Bytes parseUuid(std::string_view text, std::size_t size);
std::string uuidText(ByteSpan stored);

} // namespace zvcamera
