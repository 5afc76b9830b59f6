#include "traceRecord.h"

#include "hexText.h"

#include <chrono>
#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>

namespace zvcamera {
namespace {

constexpr std::int64_t microsPerSecond = 1000000;

} // namespace

std::int64_t wallClock() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

std::string timeText(std::int64_t micros) {
    const auto seconds = static_cast<std::time_t>(micros / microsPerSecond);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    char day[32];
    char text[64];
    std::strftime(day, sizeof day, "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(text, sizeof text, "%s.%06dZ", day, static_cast<int>(micros % microsPerSecond));
    return text;
}

Json toJson(const TraceRecord& record) {
    return {{"number", record.number},
            {"micros", record.time},
            {"time", timeText(record.time)},
            {"daemon", record.daemon},
            {"direction", record.in ? "in" : "out"},
            {"queue", record.queue},
            {"command", record.command},
            {"note", record.note},
            {"hex", toHex(record.bytes)}};
}

} // namespace zvcamera
