// The loop that every daemon of the camera is built around: descriptors, timers, ending on a signal. Single-threaded;
// callbacks may add and remove descriptors and timers, their own included.
#pragma once

#include "uniqueFd.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utility>

namespace zvcamera {

class EventLoop {
public:
    using Clock = std::chrono::steady_clock;
    using FdCallback = std::function<void(short revents)>; // the events that are there, as poll(2) names them
    using TimerId = std::uint64_t;                         // never 0

    // Takes over SIGTERM and SIGINT of this thread: each of them ends run(). Throws std::system_error when the
    // descriptors for that cannot be had.
    EventLoop();
    ~EventLoop();
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    // events: POLLIN, POLLOUT. The descriptor stays the caller's, who removes it before closing it. Adding a descriptor
    // again replaces its events and callback. Throws std::system_error for a descriptor that cannot be waited for: a
    // closed one, a file.
    void addFd(int fd, short events, FdCallback callback);
    void setEvents(int fd, short events);
    void removeFd(int fd);

    TimerId addTimer(std::chrono::milliseconds delay, std::function<void()> callback);
    // Does nothing for a timer that has run or was cancelled.
    void cancelTimer(TimerId id);

    // Serves until stop() or a signal.
    void run();
    // One round: waits at most `wait` for something to do. False once stop() or a signal has been seen.
    bool runOnce(std::chrono::milliseconds wait);
    void stop() { stopped_ = true; }

private:
    using Watch = std::shared_ptr<FdCallback>; // shared: a callback may remove itself while it runs
    using TimerKey = std::pair<Clock::time_point, TimerId>;

    void control(int operation, int fd, short events);
    int timeout(std::chrono::milliseconds wait) const;
    void runTimers();

    zv::UniqueFd epoll_;
    zv::UniqueFd signals_;
    std::map<int, Watch> watches_;
    std::map<TimerKey, std::function<void()>> timers_;
    std::map<TimerId, Clock::time_point> due_;
    TimerId lastTimer_ = 0;
    bool stopped_ = false;
    struct SignalMask;
    std::unique_ptr<SignalMask> previous_;
};

} // namespace zvcamera
