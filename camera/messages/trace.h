// The messages of the queues as a daemon saw them, kept for the camera's tool: bounded in number and bytes.
#pragma once

#include "bytes.h"
#include "jsonReader.h"

#include <cstdint>
#include <deque>
#include <string>

namespace zvcamera {

struct TraceRecord {
    std::uint64_t number = 0; // counted per daemon, from 1
    std::int64_t time = 0;    // microseconds since 1970; of a sent one: just before it was sent
    std::string daemon;
    bool in = false; // the daemon received it; else it sent it
    std::string queue;
    std::string command; // canonical; of a reply: the command that it answers
    std::string note;    // what became of it: "sent", "queue full", "skipped: ...", faults
    Bytes bytes;
};

Json toJson(const TraceRecord& record);
// Throws JsonError for anything that toJson() does not write.
TraceRecord readTraceRecord(const Json& json);

// The record for a terminal: a line of time, daemon, direction, queue and summary, then a line for every field when
// asked for.
std::string toText(const TraceRecord& record, bool fields);

// Wall-clock time now in microseconds since 1970; and such a time as "2026-01-31T23:59:59.000001Z".
std::int64_t wallClock();
std::string timeText(std::int64_t micros);

class TraceRing {
public:
    static constexpr std::size_t recordLimit = 1000;
    static constexpr std::size_t byteLimit = std::size_t{512} * 1024; // of messages; the oldest make room

    explicit TraceRing(std::string daemon) : daemon_(std::move(daemon)) {}

    // Fills in number and daemon, and the time unless it is known, and returns the kept record.
    const TraceRecord& add(TraceRecord record);
    // The records with a number above `after`, oldest first.
    Json since(std::uint64_t after) const;
    void clear();
    std::size_t size() const { return records_.size(); }

private:
    std::string daemon_;
    std::deque<TraceRecord> records_;
    std::size_t bytes_ = 0;
    std::uint64_t last_ = 0;
};

} // namespace zvcamera
