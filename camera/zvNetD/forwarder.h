// Passes messages on to another daemon's queue, in their order, without ever waiting. A message for a full queue is
// kept for a while and tried again.
#pragma once

#include "eventLoop.h"
#include "queueService.h"

#include <deque>
#include <functional>
#include <string>

namespace zvcamera {

class Forwarder {
public:
    // Called once for every message: with Sent or the reason why it was given up, and with the time of wallClock().
    using Settled = std::function<void(const QueueRequest&, SendResult, std::int64_t time)>;

    static constexpr std::size_t backlogLimit = 64;
    // A client waits at most 15 seconds; nobody waits for the answer to an older message.
    static constexpr std::chrono::milliseconds clientPatience{15000};
    static constexpr std::chrono::milliseconds retryTime{5};

    Forwarder(EventLoop& loop, std::string queue, Settled settled, std::chrono::milliseconds keepTime = clientPatience);
    ~Forwarder();
    Forwarder(const Forwarder&) = delete;
    Forwarder& operator=(const Forwarder&) = delete;

    void forward(const QueueRequest& request);
    std::size_t backlog() const { return backlog_.size(); }

private:
    struct Kept {
        QueueRequest request;
        EventLoop::Clock::time_point until;
    };
    void retry();

    EventLoop& loop_;
    std::string queue_;
    Settled settled_;
    std::chrono::milliseconds keepTime_;
    std::deque<Kept> backlog_;
    EventLoop::TimerId timer_ = 0;
};

} // namespace zvcamera
