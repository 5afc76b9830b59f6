// The other side of the BLE link, scripted: owns "/to_zvnet" (in a private namespace), keeps every request's bytes and
// answers on the reply queue of this process.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mqueue.h>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace zvtest {

using Bytes = std::vector<std::uint8_t>;

class QueuePeer {
public:
    // The messages that answer a request: none, one or several.
    using Answer = std::function<std::vector<Bytes>(const Bytes& request)>;

    static constexpr long usualMessageSize = 2048;

    // Creates the queue; ends the test program when it cannot. It takes no message above the size, at least 16.
    explicit QueuePeer(long messageSize = usualMessageSize);
    ~QueuePeer();
    QueuePeer(const QueuePeer&) = delete;
    QueuePeer& operator=(const QueuePeer&) = delete;

    // Answers the next request that has no answer yet with one message, or leaves it without an answer.
    void reply(Bytes message);
    void stayMute();
    // Answers every request beyond the scripted ones. Without it they are answered with an empty message, so that a
    // request too many fails at once instead of waiting.
    void replyWith(Answer answer);

    // The requests so far. A request is kept before it is answered.
    std::vector<Bytes> requests();
    std::size_t requestCount();
    // The priorities with which they were sent.
    std::vector<unsigned> priorities();

    // The name of this process's reply queue.
    static std::string replyQueueName();

private:
    void run();
    std::vector<Bytes> nextAnswer(const Bytes& request, unsigned priority);

    const long messageSize_;
    mqd_t queue_;
    std::atomic<bool> stopping_{false};
    std::mutex mutex_;
    std::vector<Bytes> requests_;
    std::vector<unsigned> priorities_;
    std::deque<std::vector<Bytes>> script_;
    Answer answer_;
    std::thread thread_;
};

} // namespace zvtest
