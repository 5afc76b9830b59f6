// The command line of a daemon.
#pragma once

#include <optional>
#include <string>

namespace zvcamera {

struct DaemonOptions {
    std::optional<std::string> checked;  // --check FILE: only read this scenario
    std::string scenarioFile;            // --scenario FILE; empty: all defaults
    std::string runDir = "/run/zarvo";   // --run-dir DIR
    std::string storage = "/tmp/fuse_d"; // --storage DIR

    std::string adminSocket(const std::string& daemon) const { return runDir + "/" + daemon + ".admin"; }
};

// Reads the options of a daemon. Returns nothing when it may begin, else the status to end with: 0 after --help, which
// is then on standard output, and 2 for a wrong command line, which standard error then tells.
std::optional<int> readOptions(int argc, char** argv, const char* name, DaemonOptions& options);

} // namespace zvcamera
