// What diagnostic reports leave in /dev/log, on standard error and output, and in the log file.
#pragma once

#include "child.h"
#include "syslogCapture.h"
#include "zvLog.h"

#include <cstdint>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>

namespace zvtest {

constexpr const char* wifiLog = "/tmp/fuse_d/wifi_log.txt";
constexpr std::uint32_t toFile = 0x20000000;
constexpr std::uint32_t toStdout = 0x40000000;

inline bool exists(const char* path) {
    return access(path, F_OK) == 0;
}

inline std::string fileText(const char* path) {
    const int file = open(path, O_RDONLY);
    std::string text = file < 0 ? "(no file)" : contents(file);
    close(file);
    return text;
}

// Replaces every local time of the last 30 seconds ("Nov21 03:04:05" and a blank) by "@".
inline std::string withoutTimes(std::string text) {
    const std::time_t now = std::time(nullptr);
    for (std::time_t then = now - 30; then <= now; ++then) {
        char stamp[32];
        std::strftime(stamp, sizeof stamp, "%b%d %H:%M:%S ", std::localtime(&then));
        for (std::size_t at; (at = text.find(stamp)) != std::string::npos;) {
            text.replace(at, std::string(stamp).size(), "@");
        }
    }
    return text;
}

struct Reported {
    Ended ended;
    std::string file;           // the log file's text
    std::vector<LogLine> lines; // what came to /dev/log
};

// Runs the piece in a child with the switches in g_debug_level, and returns all that it reported.
template<typename Piece>
Reported reported(std::uint32_t switches, Piece piece) {
    mkdir("/tmp/fuse_d", 0777);
    unlink(wifiLog);
    Child child([&] {
        g_debug_level = switches;
        piece();
    });
    SyslogCapture log;
    Reported all;
    all.ended = child.run();
    all.file = fileText(wifiLog);
    all.lines = log.take();
    return all;
}

inline std::vector<std::string> texts(const Reported& all) {
    std::vector<std::string> found;
    for (const LogLine& line : all.lines) {
        found.push_back(line.text);
    }
    return found;
}

} // namespace zvtest
