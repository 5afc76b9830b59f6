// Bytes of messages.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zvcamera {

using Bytes = std::vector<std::uint8_t>;
using ByteSpan = std::span<const std::uint8_t>;

// What a message of a client may be at most.
constexpr std::size_t clientMessageSize = 1500;

} // namespace zvcamera
