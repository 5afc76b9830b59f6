#include "traceText.h"

#include "explain.h"
#include "hexText.h"

#include <cstdio>
#include <nlohmann/json.hpp>

namespace zvcamera {

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
    if (const Json* pid = reader.any("pid"); pid != nullptr && !pid->is_null()) {
        reader.number("pid", record.pid, 1, INT32_MAX);
    }
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

} // namespace zvcamera
