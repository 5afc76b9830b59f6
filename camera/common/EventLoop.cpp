#include "EventLoop.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <poll.h>
#include <sys/signalfd.h>
#include <system_error>
#include <vector>

namespace zvcam {

struct EventLoop::SignalMask {
    sigset_t mask;
};

EventLoop::EventLoop() : previous_(std::make_unique<SignalMask>()) {
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigaddset(&ending, SIGINT);
    pthread_sigmask(SIG_BLOCK, &ending, &previous_->mask);
    signals_.reset(signalfd(-1, &ending, SFD_NONBLOCK | SFD_CLOEXEC));
    if (!signals_.ok()) {
        const int error = errno;
        pthread_sigmask(SIG_SETMASK, &previous_->mask, nullptr);
        throw std::system_error(error, std::generic_category(), "signalfd");
    }
    addFd(signals_.get(), POLLIN, [this](short) {
        signalfd_siginfo info;
        while (read(signals_.get(), &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
            stop();
        }
    });
}

EventLoop::~EventLoop() {
    pthread_sigmask(SIG_SETMASK, &previous_->mask, nullptr);
}

void EventLoop::addFd(int fd, short events, FdCallback callback) {
    watches_[fd] = {events, std::make_shared<FdCallback>(std::move(callback))};
}

void EventLoop::setEvents(int fd, short events) {
    const auto found = watches_.find(fd);
    if (found != watches_.end()) {
        found->second.events = events;
    }
}

void EventLoop::removeFd(int fd) {
    watches_.erase(fd);
}

EventLoop::TimerId EventLoop::addTimer(std::chrono::milliseconds delay, std::function<void()> callback) {
    const TimerId id = ++lastTimer_;
    const Clock::time_point due = Clock::now() + std::max(delay, std::chrono::milliseconds(0));
    timers_.emplace(TimerKey(due, id), std::move(callback));
    due_.emplace(id, due);
    return id;
}

void EventLoop::cancelTimer(TimerId id) {
    const auto found = due_.find(id);
    if (found != due_.end()) {
        timers_.erase({found->second, id});
        due_.erase(found);
    }
}

void EventLoop::run() {
    while (runOnce(std::chrono::hours(1))) {
    }
}

int EventLoop::timeout(std::chrono::milliseconds wait) const {
    if (!timers_.empty()) {
        // Rounded up: a round that wakes a little early would only spin.
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(timers_.begin()->first.first - Clock::now());
        wait = std::clamp(left, std::chrono::milliseconds(0), wait);
    }
    return static_cast<int>(wait.count());
}

bool EventLoop::runOnce(std::chrono::milliseconds wait) {
    if (stopped_) {
        return false;
    }
    std::vector<pollfd> polled;
    polled.reserve(watches_.size());
    for (const auto& [fd, watch] : watches_) {
        polled.push_back({fd, watch.events, 0});
    }
    if (poll(polled.data(), polled.size(), timeout(wait)) > 0) {
        for (const pollfd& one : polled) {
            const auto found = one.revents != 0 ? watches_.find(one.fd) : watches_.end();
            if (found != watches_.end()) {
                const std::shared_ptr<FdCallback> callback = found->second.callback;
                (*callback)(one.revents);
            }
        }
    }
    runTimers();
    return !stopped_;
}

void EventLoop::runTimers() {
    // Only what is due now: a timer that sets itself again with no delay must not keep the descriptors
    // waiting.
    const TimerKey last(Clock::now(), lastTimer_);
    while (!timers_.empty() && timers_.begin()->first <= last) {
        const auto first = timers_.begin();
        const std::function<void()> callback = std::move(first->second);
        due_.erase(first->first.second);
        timers_.erase(first);
        callback();
    }
}

} // namespace zvcam
