#include "trace.h"

#include "explain.h"
#include "tlv.h"

#include <chrono>
#include <cstdio>
#include <ctime>

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

TraceRecord readTraceRecord(const Json& json) {
    JsonReader reader(json, "");
    TraceRecord record;
    std::string direction;
    std::string time;
    std::string hex;
    reader.number("number", record.number, 0, INT64_MAX);
    reader.number("micros", record.time, 0, INT64_MAX);
    reader.text("time", time);
    reader.text("daemon", record.daemon);
    reader.text("direction", direction);
    reader.text("queue", record.queue);
    reader.text("command", record.command);
    reader.text("note", record.note);
    if (!reader.text("hex", hex)) {
        reader.fail("hex", "missing");
    }
    if (direction != "in" && direction != "out") {
        reader.fail("direction", "must be \"in\" or \"out\"");
    }
    reader.finish();
    record.in = direction == "in";
    try {
        record.bytes = fromHex(hex);
    } catch (const std::invalid_argument& error) {
        reader.fail("hex", error.what());
    }
    return record;
}

std::string toText(const TraceRecord& record, bool fields) {
    std::string text = timeText(record.time) + "  " + record.daemon + (record.in ? " <- " : " -> ") + record.queue +
                       "  " + std::to_string(record.bytes.size()) + " bytes  " +
                       summarizeMessage(record.bytes, record.command) +
                       (record.note.empty() ? "" : "  [" + record.note + "]") + "\n";
    if (!fields) {
        return text;
    }
    for (const Field& field : explainMessage(record.bytes, record.command)) {
        char place[32];
        std::snprintf(place, sizeof place, "    %04zu  %*s", field.offset, field.depth * 2, "");
        text += place + field.name + ": " + field.value + "\n";
    }
    return text;
}

const TraceRecord& TraceRing::add(TraceRecord record) {
    record.number = ++last_;
    record.time = record.time != 0 ? record.time : wallClock();
    record.daemon = daemon_;
    bytes_ += record.bytes.size();
    records_.push_back(std::move(record));
    while (records_.size() > recordLimit || (bytes_ > byteLimit && records_.size() > 1)) {
        bytes_ -= records_.front().bytes.size();
        records_.pop_front();
    }
    return records_.back();
}

Json TraceRing::since(std::uint64_t after) const {
    Json list = Json::array();
    for (const TraceRecord& record : records_) {
        if (record.number > after) {
            list.push_back(toJson(record));
        }
    }
    return list;
}

void TraceRing::clear() {
    records_.clear();
    bytes_ = 0;
}

} // namespace zvcamera
