// A limit to the wait for the system log. Internal: not among the names that the program exports.
#pragma once

#include <ctime>

namespace zv {

// While one lives, syslog does not wait for ever for a log whose reader stands still: the line is lost instead. It
// waits 250 ms; for a minute after a line that was lost so, 2 ms. A log that takes its lines, and one that
// is absent, is treated as ever. Neither allocates nor logs.
//
// A timer interrupts the waiting thread by SIGURG, which this process ignores otherwise. Its handler is set with the
// first line and stays; it does nothing. While the process has a handler of its own for SIGURG, whenever that came, and
// where it can have no timer, the wait has no limit.
class LogLimit {
public:
    LogLimit();
    ~LogLimit();
    LogLimit(const LogLimit&) = delete;
    LogLimit& operator=(const LogLimit&) = delete;

private:
    timer_t timer_{};
    bool running_ = false;
    bool wasBlocked_ = false;
    unsigned interruptionsBefore_ = 0;
};

} // namespace zv
