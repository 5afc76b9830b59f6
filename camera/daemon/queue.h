// POSIX message queues as the daemons use them: never waiting.
#pragma once

#include "bytes.h"

#include <cstdint>
#include <mqueue.h>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zvcamera {

// What every queue of a daemon holds.
constexpr long daemonQueueMessages = 10;
constexpr long daemonQueueMessageSize = 2048;

// True for "/name": one slash, at the start, at most 255 characters that print and are no blanks, not "/." or "/..".
bool validQueueName(std::string_view name);

// A queue of this daemon's own: made at the start, removed at the end. Replaces the queue that a killed daemon has
// left. Owner and group may read and write it, others may read it.
class OwnedQueue {
public:
    // Throws std::system_error.
    explicit OwnedQueue(std::string name, long messages = daemonQueueMessages,
                        long messageSize = daemonQueueMessageSize);
    ~OwnedQueue();
    OwnedQueue(const OwnedQueue&) = delete;
    OwnedQueue& operator=(const OwnedQueue&) = delete;

    const std::string& name() const { return name_; }
    // Pollable: POLLIN while a message waits.
    int fd() const { return queue_; }
    // The next message, possibly empty; nothing when none waits.
    std::optional<Bytes> receive();

private:
    std::string name_;
    mqd_t queue_;
    Bytes buffer_;
};

enum class SendResult {
    Sent,
    Full,    // the queue holds all it can; try later
    Absent,  // there is no such queue, or it may not be written
    Refused, // the message is too large for the queue, or another error
};
const char* toText(SendResult result);

// Writes one message without waiting; opens and closes the queue.
SendResult sendWithoutWaiting(const std::string& name, ByteSpan message);

} // namespace zvcamera
