// Bytes of messages.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zvcamera {

using Bytes = std::vector<std::uint8_t>;
using ByteSpan = std::span<const std::uint8_t>;

// The most bytes that a message of a client has.
constexpr std::size_t clientMessageSize = 1500;

} // namespace zvcamera
