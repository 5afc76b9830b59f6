/*
 * The camera's streaming program, without the streaming: takes any arguments, runs until SIGINT or SIGTERM, and ends
 * with status 0. It logs when it ran and with which arguments (streamLog.h). When it cannot write the log, it says so
 * on standard error and runs all the same.
 */
#include "streamLog.h"

#include <csignal>
#include <cstdio>

namespace {

// A shell starts its background programs with SIGINT ignored, so the default is set again. The signals are blocked
// before, because one in between would end the program without a line in the log.
sigset_t takeSignals() {
    sigset_t stops;
    sigemptyset(&stops);
    sigaddset(&stops, SIGINT);
    sigaddset(&stops, SIGTERM);
    sigprocmask(SIG_BLOCK, &stops, nullptr);
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    return stops;
}

void report(bool logged) {
    if (!logged) {
        std::perror(streamLogPath);
    }
}

} // namespace

int main(int argc, char** argv) {
    const sigset_t stops = takeSignals();
    report(logStart({argv + (argc > 0 ? 1 : 0), argv + argc}));
    int stop = 0;
    while (sigwait(&stops, &stop) != 0) {
    }
    report(logEnd(stop == SIGINT ? "SIGINT" : "SIGTERM"));
    return 0;
}
