// A system(3) that records its commands, and fails where a test says so.
#pragma once

#include <cerrno>
#include <chrono>
#include <string>
#include <vector>

namespace zvtest {

struct WrappedSystem {
    std::vector<std::string> commands;
    std::vector<std::chrono::steady_clock::time_point> moments; // of the calls
    int failing = 0;                                            // this call (from 1) runs nothing; 0: none
    int status = -1;                                            // what it gives
    int error = ENOMEM;                                         // the errno that it sets, unless 0
};

// The one of the process.
WrappedSystem& wrappedSystem();

} // namespace zvtest
