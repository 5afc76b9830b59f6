/*
 * One command of an "execute" request.
 */
#pragma once

#include <cstdint>
#include <string>

inline constexpr std::int32_t actionStart = 0;
inline constexpr std::int32_t actionStop = 1;
inline constexpr std::int32_t actionRestart = 2;

/* Commands that a request may carry; what follows them is ignored. */
inline constexpr int maximumEntries = 16;

struct ExecEntry {
    std::string program;
    std::string arguments;
    std::int32_t action = actionStart; // one of the above
};
