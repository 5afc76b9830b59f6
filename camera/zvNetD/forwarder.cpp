#include "forwarder.h"

namespace zvcamera {

Forwarder::Forwarder(EventLoop& loop, std::string queue, Settled settled, std::chrono::milliseconds keepTime)
    : loop_(loop),
      queue_(std::move(queue)),
      settled_(std::move(settled)),
      keepTime_(keepTime) {}

Forwarder::~Forwarder() {
    loop_.cancelTimer(timer_);
}

void Forwarder::forward(const QueueRequest& request) {
    const std::int64_t time = wallClock();
    const SendResult result = backlog_.empty() ? sendWithoutWaiting(queue_, request.raw) : SendResult::Full;
    if (result != SendResult::Full || backlog_.size() >= backlogLimit) {
        settled_(request, result, time);
        return;
    }
    backlog_.push_back({request, EventLoop::Clock::now() + keepTime_});
    if (backlog_.size() == 1) {
        timer_ = loop_.addTimer(retryTime, [this] { retry(); });
    }
}

void Forwarder::retry() {
    while (!backlog_.empty()) {
        const std::int64_t time = wallClock();
        const SendResult result = sendWithoutWaiting(queue_, backlog_.front().request.raw);
        if (result == SendResult::Full && EventLoop::Clock::now() < backlog_.front().until) {
            timer_ = loop_.addTimer(retryTime, [this] { retry(); });
            return;
        }
        const Kept kept = std::move(backlog_.front());
        backlog_.pop_front();
        settled_(kept.request, result, time);
    }
}

} // namespace zvcamera
