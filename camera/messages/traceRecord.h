// A message of a queue as a daemon saw it.
#pragma once

#include "bytes.h"
#include "jsonReader.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace zvcamera {

struct TraceRecord {
    std::uint64_t number = 0; // counted per daemon, from 1
    std::int64_t time = 0;    // microseconds since 1970; of a sent message: just before it was sent
    std::string daemon;
    bool in = false; // true: the daemon received it; false: it sent it
    std::string queue;
    std::int64_t pid = 0; // of the gateway whose request it is, from its reply queue's name; 0: not known
    std::string command;  // canonical; of a reply: the command that it answers
    std::string note;     // how it ended: "sent", "queue full", "skipped: ...", faults
    Bytes bytes;
};

Json toJson(const TraceRecord& record);
// The process that has this reply queue ("/to_ZVCC123" is that of process 123); 0 for another name.
std::int64_t processOf(std::string_view replyQueue);

// Now, in microseconds since 1970.
std::int64_t wallClock();
// Such a time as "2026-01-31T23:59:59.000001Z".
std::string timeText(std::int64_t micros);

} // namespace zvcamera
