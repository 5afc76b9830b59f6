#include "eventLoop.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <poll.h>
#include <string>
#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <system_error>

namespace zvcamera {
namespace {

// What is more waits for the next round.
constexpr std::size_t eventsPerRound = 64;

static_assert(POLLIN == EPOLLIN && POLLOUT == EPOLLOUT && POLLERR == EPOLLERR && POLLHUP == EPOLLHUP);

} // namespace

struct EventLoop::SignalMask {
    sigset_t mask;
};

EventLoop::EventLoop() : previous_(std::make_unique<SignalMask>()) {
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigaddset(&ending, SIGINT);
    pthread_sigmask(SIG_BLOCK, &ending, &previous_->mask);
    epoll_.reset(epoll_create1(EPOLL_CLOEXEC));
    signals_.reset(epoll_.ok() ? signalfd(-1, &ending, SFD_NONBLOCK | SFD_CLOEXEC) : -1);
    if (!signals_.ok()) {
        const int error = errno;
        pthread_sigmask(SIG_SETMASK, &previous_->mask, nullptr);
        throw std::system_error(error, std::generic_category(), epoll_.ok() ? "signalfd" : "epoll_create1");
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

void EventLoop::control(int operation, int fd, short events) {
    epoll_event event{};
    event.events = static_cast<std::uint32_t>(events);
    event.data.fd = fd;
    if (epoll_ctl(epoll_.get(), operation, fd, &event) != 0) {
        throw std::system_error(errno, std::generic_category(), "waiting for descriptor " + std::to_string(fd));
    }
}

void EventLoop::addFd(int fd, short events, FdCallback callback) {
    const bool known = watches_.count(fd) != 0;
    auto shared = std::make_shared<FdCallback>(std::move(callback));
    watches_[fd] = std::move(shared);
    try {
        control(known ? EPOLL_CTL_MOD : EPOLL_CTL_ADD, fd, events);
    } catch (const std::system_error&) {
        watches_.erase(fd);
        throw;
    }
}

void EventLoop::setEvents(int fd, short events) {
    if (watches_.count(fd) != 0) {
        control(EPOLL_CTL_MOD, fd, events);
    }
}

void EventLoop::removeFd(int fd) {
    if (watches_.erase(fd) != 0) {
        epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, fd, nullptr);
    }
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
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(timers_.begin()->first.first - Clock::now());
        wait = std::clamp(left, std::chrono::milliseconds(0), wait);
    }
    return static_cast<int>(wait.count());
}

bool EventLoop::runOnce(std::chrono::milliseconds wait) {
    if (stopped_) {
        return false;
    }
    std::array<epoll_event, eventsPerRound> events;
    const int count = epoll_wait(epoll_.get(), events.data(), static_cast<int>(events.size()), timeout(wait));
    for (int i = 0; i < count; ++i) {
        const epoll_event& event = events[static_cast<std::size_t>(i)];
        const auto found = watches_.find(event.data.fd);
        if (found != watches_.end()) {
            const Watch callback = found->second;
            (*callback)(static_cast<short>(event.events));
        }
    }
    runTimers();
    return !stopped_;
}

void EventLoop::runTimers() {
    // Only what is due now: a timer that sets itself again with no delay must not keep the descriptors waiting.
    const TimerKey last(Clock::now(), lastTimer_);
    while (!timers_.empty() && timers_.begin()->first <= last) {
        const auto first = timers_.begin();
        const std::function<void()> callback = std::move(first->second);
        due_.erase(first->first.second);
        timers_.erase(first);
        callback();
    }
}

} // namespace zvcamera
