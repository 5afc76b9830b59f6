#include "traceRing.h"

#include <nlohmann/json.hpp>

namespace zvcamera {

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
