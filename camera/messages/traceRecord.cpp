#include "traceRecord.h"

#include "hexText.h"

#include <charconv>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>

namespace zvcamera {
namespace {

constexpr std::int64_t microsPerSecond = 1000000;
constexpr std::string_view gatewayQueue = "/to_ZVCC";

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

std::int64_t processOf(std::string_view replyQueue) {
    if (replyQueue.substr(0, gatewayQueue.size()) != gatewayQueue) {
        return 0;
    }
    const std::string_view digits = replyQueue.substr(gatewayQueue.size());
    std::int32_t pid = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), pid);
    return error == std::errc() && end == digits.data() + digits.size() && pid > 0 ? pid : 0;
}

Json toJson(const TraceRecord& record) {
    return {{"number", record.number},
            {"micros", record.time},
            {"time", timeText(record.time)},
            {"daemon", record.daemon},
            {"direction", record.in ? "in" : "out"},
            {"queue", record.queue},
            {"pid", record.pid == 0 ? Json() : Json(record.pid)},
            {"command", record.command},
            {"note", record.note},
            {"hex", toHex(record.bytes)}};
}

} // namespace zvcamera
