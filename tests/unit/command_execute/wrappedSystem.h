// A system(3) that records its commands, and fails where a test says so.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace zvtest {

struct WrappedSystem {
    std::vector<std::string> commands;
    std::vector<std::chrono::steady_clock::time_point> moments; // of the calls
    int failing = 0;                                            // this call (from 1) fails with ENOMEM; 0: none
};

// The one of the process.
WrappedSystem& wrappedSystem();

} // namespace zvtest
