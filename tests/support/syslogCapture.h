// Captures what a process sends to syslog: binds /dev/log (in a private namespace) and keeps every line.
#pragma once

#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace zvtest {

struct LogLine {
    int priority;     // 3 for LOG_ERR, 7 for LOG_DEBUG
    int facility;     // 1 for LOG_USER
    std::string text; // what syslog() was given, without time and identifier
};

class SyslogCapture {
public:
    // Binds /dev/log; ends the test program when it cannot.
    SyslogCapture();
    ~SyslogCapture();
    SyslogCapture(const SyslogCapture&) = delete;
    SyslogCapture& operator=(const SyslogCapture&) = delete;

    // All lines sent since the last call, those of other threads and processes included.
    std::vector<LogLine> take();
    // Their texts alone.
    std::vector<std::string> texts();
    // Their texts without level name, colon and " @file:line".
    std::vector<std::string> messages();

private:
    void receive();

    int socket_;
    std::mutex mutex_;
    std::vector<std::string> packets_;
    std::thread thread_;
};

} // namespace zvtest
