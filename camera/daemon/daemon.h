// What the programs of the camera's daemons have in common: options, log, ending.
#pragma once

#include "eventLoop.h"
#include "scenario.h"

#include <functional>
#include <string>

namespace zvcamera {

struct DaemonOptions {
    std::string scenarioFile;            // --scenario FILE; empty: all defaults
    std::string runDir = "/run/zarvo";   // --run-dir DIR
    std::string storage = "/tmp/fuse_d"; // --storage DIR

    std::string adminSocket(const std::string& daemon) const { return runDir + "/" + daemon + ".admin"; }
};

/*
 * main() of a daemon: reads the options, opens the log under the daemon's name, loads the scenario, and calls `serve`.
 * `serve` makes the daemon and runs the loop, which ends on SIGTERM or SIGINT. Returns 0 after a clean end, 2 for wrong
 * options, and 1 when an exception ended it; its text is then on standard error and in the log.
 */
int daemonMain(int argc, char** argv, const char* name,
               const std::function<void(EventLoop&, const DaemonOptions&, const Scenario&)>& serve);

} // namespace zvcamera
