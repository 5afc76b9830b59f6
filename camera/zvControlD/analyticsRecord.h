/*
 * The records of the analytics file, as a camera collects them: header {"ZA", kind, payload length, sequence number (4
 * bytes), milliseconds since 1970 (8 bytes)} and payload, numbers big-endian.
 *
 *   kind 1  battery:  percent, state (0 discharging, 1 charging), millivolts (2)
 *   kind 2  radio:    channel, signed dBm, stations, 0, bytes sent (4; begins again at 0 beyond them)
 *   kind 3  warmth:   signed tenths of degrees Celsius of sensor and board (2 each)
 *   kind 4  storage:  free MiB (4), files (4)
 */
#pragma once

#include <cstdint>
#include <random>
#include <vector>

namespace zvcamera {

class AnalyticsRecords {
public:
    // The next record; the values wander from one record of a kind to the next.
    std::vector<unsigned char> next(std::uint64_t milliseconds);

private:
    int step(int value, int low, int high, int most);

    std::uint32_t sequence_ = 0;
    std::minstd_rand random_{20240229}; // always the same, so that a file can be made again
    int percent_ = 87, signal_ = -52, sensor_ = 412, board_ = 365;
    int freeMib_ = 51200, files_ = 214;
    std::uint32_t sent_ = 0;
};

} // namespace zvcamera
