/*
 * One command of an "execute" request.
 */
#pragma once

#include <cstdint>
#include <string>

inline constexpr std::int32_t exec_start = 0;
inline constexpr std::int32_t exec_stop = 1;
inline constexpr std::int32_t exec_restart = 2;

/* A request carries at most so many commands; what follows is ignored. */
inline constexpr int exec_max_entries = 16;

struct ExecEntry {
    std::string program;
    std::string arguments;
    std::int32_t action = exec_start; // one of the above
};
