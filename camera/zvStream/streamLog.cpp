#include "streamLog.h"

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

namespace {

using Json = nlohmann::ordered_json;

constexpr mode_t logMode = 0644;
constexpr long nanosPerMilli = 1000000;

std::string now() {
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    tm fields{};
    gmtime_r(&time.tv_sec, &fields);
    char seconds[32];
    std::strftime(seconds, sizeof seconds, "%Y-%m-%dT%H:%M:%S", &fields);
    char text[48];
    std::snprintf(text, sizeof text, "%s.%03ldZ", seconds, time.tv_nsec / nanosPerMilli);
    return text;
}

// Writes in one call, so that lines of several processes do not mix.
bool append(const Json& object) {
    const std::string line = object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
    const int log = open(streamLogPath, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, logMode);
    if (log < 0) {
        return false;
    }
    const ssize_t written = write(log, line.data(), line.size());
    const int error = written < 0 ? errno : ENOSPC; // a short write means that there is no more room
    close(log);
    errno = error;
    return written == static_cast<ssize_t>(line.size());
}

Json event(const char* name) {
    return {{"event", name}, {"pid", getpid()}, {"time", now()}};
}

} // namespace

bool logStart(const std::vector<std::string>& arguments) {
    Json line = event("start");
    line["arguments"] = arguments;
    return append(line);
}

bool logEnd(const std::string& reason) {
    Json line = event("end");
    line["reason"] = reason;
    return append(line);
}
