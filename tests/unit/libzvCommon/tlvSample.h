// A well-formed message.
#pragma once

#include <array>
#include <cstdint>

namespace zvtest {

// Type 1, elements 65 "PD", 66 "xyz", end marker.
inline constexpr std::array<std::uint8_t, 21> sample = {0, 21, 0,  1,   0,   0,   2, 65, 'P', 'D', 0,
                                                        0, 3,  66, 'x', 'y', 'z', 0, 0,  0,   238};

} // namespace zvtest
