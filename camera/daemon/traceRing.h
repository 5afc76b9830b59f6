// What a daemon keeps of the messages it saw, for the camera's tool: bounded in number and bytes.
#pragma once

#include "traceRecord.h"

#include <cstdint>
#include <deque>
#include <string>

namespace zvcamera {

class TraceRing {
public:
    static constexpr std::size_t recordLimit = 1000;
    static constexpr std::size_t byteLimit = std::size_t{512} * 1024; // of messages; the oldest make room

    explicit TraceRing(std::string daemon) : daemon_(std::move(daemon)) {}

    // Keeps a record and returns it, with number and daemon filled in, and the time when it is 0.
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
