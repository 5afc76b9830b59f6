// The other side of the BLE link: owns "/to_zvnet" in a private namespace, keeps the bytes of every request, and
// answers as the test says on this process's reply queue.
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

    // Creates the queue for messages of up to messageSize bytes, 16 at least; ends the test program when it cannot.
    explicit QueuePeer(long messageSize = usualMessageSize);
    ~QueuePeer();
    QueuePeer(const QueuePeer&) = delete;
    QueuePeer& operator=(const QueuePeer&) = delete;

    // Adds a step to the script: answers one request with the message, or not at all.
    void reply(Bytes message);
    void stayMute();
    // Answers every request behind the script. Without it, an empty message answers them: a request too many then fails
    // at once instead of waiting.
    void replyWith(Answer answer);

    // The requests so far. A request is kept before it is answered.
    std::vector<Bytes> requests();
    std::size_t requestCount();
    // The priorities of the requests so far.
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
