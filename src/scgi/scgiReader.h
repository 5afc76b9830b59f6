/*
 * Reading from a connection, for a limited time in all.
 */
#pragma once

#include <chrono>
#include <cstddef>
#include <span>

class ScgiReader {
public:
    /* The time begins now. */
    ScgiReader(int connection, std::chrono::milliseconds limit);

    /*
     * Reads what has arrived, but waits until there is something. Returns how many bytes; 0 when there will be none:
     * because the other side has closed the connection, the time is up, or the connection broke. complaint tells.
     */
    std::size_t read(std::span<char> room);

    /* Why read has returned 0. */
    const char* complaint() const { return complaint_; }

private:
    std::chrono::milliseconds timeLeft() const;

    int connection_;
    std::chrono::steady_clock::time_point end_;
    const char* complaint_ = nullptr;
};
