/*
 * The camera's streaming program, as far as starting and stopping it goes: it runs until SIGINT or SIGTERM tells it to
 * stop, ends with status 0 then, and keeps a log of when it ran with which arguments (streamLog.h). It takes any
 * arguments. A log that cannot be written is reported on standard error and does not keep it from running.
 */
#include "streamLog.h"

#include <csignal>
#include <cstdio>

namespace {

// A shell starts its background programs with SIGINT ignored, so the default has to be put back; once they are blocked,
// lest a signal in between ends the program without a word.
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
        std::perror(stream_log_path);
    }
}

} // namespace

int main(int argc, char** argv) {
    const sigset_t stops = takeSignals();
    report(log_start({argv + (argc > 0 ? 1 : 0), argv + argc}));
    int stop = 0;
    while (sigwait(&stops, &stop) != 0) {
    }
    report(log_end(stop == SIGINT ? "SIGINT" : "SIGTERM"));
    return 0;
}
