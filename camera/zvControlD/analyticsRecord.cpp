#include "analyticsRecord.h"

#include <algorithm>

namespace zvcamera {
namespace {

using Record = std::vector<unsigned char>;

void put(Record& record, std::uint64_t value, int bytes) {
    for (int shift = (bytes - 1) * 8; shift >= 0; shift -= 8) {
        record.push_back(static_cast<unsigned char>(value >> shift));
    }
}

std::uint64_t bits(int value) {
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(value));
}

} // namespace

int AnalyticsRecords::step(int value, int low, int high, int most) {
    return std::clamp(value + std::uniform_int_distribution<int>(-most, most)(random_), low, high);
}

Record AnalyticsRecords::next(std::uint64_t milliseconds) {
    const int kind = static_cast<int>(sequence_ % 4) + 1;
    Record payload;
    switch (kind) {
    case 1:
        percent_ = step(percent_, 5, 100, 1);
        put(payload, bits(percent_), 1);
        put(payload, 0, 1);
        put(payload, bits(3300 + percent_ * 9), 2);
        break;
    case 2:
        signal_ = step(signal_, -90, -30, 3);
        sent_ += 1500U * static_cast<std::uint32_t>(signal_ + 100);
        put(payload, 6, 1);
        put(payload, bits(signal_), 1);
        put(payload, 1, 1);
        put(payload, 0, 1);
        put(payload, sent_, 4);
        break;
    case 3:
        sensor_ = step(sensor_, 200, 800, 4);
        board_ = step(board_, 200, 800, 4);
        put(payload, bits(sensor_), 2);
        put(payload, bits(board_), 2);
        break;
    default:
        freeMib_ = step(freeMib_, 1000, 60000, 8);
        files_ = step(files_, 1, 9999, 1);
        put(payload, bits(freeMib_), 4);
        put(payload, bits(files_), 4);
        break;
    }
    Record record{'Z', 'A', static_cast<unsigned char>(kind), static_cast<unsigned char>(payload.size())};
    put(record, sequence_++, 4);
    put(record, milliseconds, 8);
    record.insert(record.end(), payload.begin(), payload.end());
    return record;
}

} // namespace zvcamera
