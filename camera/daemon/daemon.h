// What the programs of the camera's daemons have in common: options, log, ending.
#pragma once

#include "daemonOptions.h"
#include "eventLoop.h"
#include "scenario.h"

#include <functional>
#include <string>

namespace zvcamera {

// What a daemon's program does.
struct DaemonProgram {
    const char* name;
    // Reads all that the daemon takes from a scenario; throws JsonError for what is wrong. Changes nothing.
    std::function<void(const Scenario&)> check;
    // Makes the daemon and runs the loop, which ends on SIGTERM or SIGINT.
    std::function<void(EventLoop&, const DaemonOptions&, const Scenario&)> serve;
};

/*
 * main() of a daemon: reads the options, opens the log under the daemon's name, loads the scenario, and serves. Returns
 * 0 after a clean end, 2 for wrong options, and 1 when an exception ended it; its text is then on standard error and in
 * the log.
 *
 * With --check FILE it only reads that scenario, wherever it is called: 0 when it is right, 1 when it is not; standard
 * error then has one line, FILE as given and what is wrong at which place.
 */
int daemonMain(int argc, char** argv, const DaemonProgram& program);

} // namespace zvcamera
