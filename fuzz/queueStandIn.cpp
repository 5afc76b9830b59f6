#include "queueStandIn.h"

#include <cerrno>
#include <mqueue.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace zvfuzz {

QueueStandIn& queues() {
    static QueueStandIn all;
    return all;
}

} // namespace zvfuzz

using zvfuzz::queues;

extern "C" {

// A descriptor that a loop can wait for, and that always has something to read.
mqd_t __wrap_mq_open(const char* /*name*/, int /*flags*/, ...) {
    ++queues().opened;
    return eventfd(1, EFD_CLOEXEC | EFD_NONBLOCK);
}

int __wrap_mq_close(mqd_t queue) {
    --queues().opened;
    return close(queue);
}

int __wrap_mq_unlink(const char* /*name*/) {
    return 0;
}

int __wrap_mq_send(mqd_t /*queue*/, const char* message, std::size_t length, unsigned /*priority*/) {
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(message);
    if (queues().sent && !queues().sent(zvfuzz::Bytes(bytes, bytes + length))) {
        errno = EAGAIN;
        return -1;
    }
    return 0;
}

ssize_t __wrap_mq_receive(mqd_t /*queue*/, char* buffer, std::size_t room, unsigned* /*priority*/) {
    auto& waiting = queues().waiting;
    if (waiting.empty()) {
        errno = EAGAIN;
        return -1;
    }
    const zvfuzz::Bytes message = waiting.front();
    waiting.pop_front();
    if (message.size() > room) {
        errno = EMSGSIZE;
        return -1;
    }
    std::copy(message.begin(), message.end(), reinterpret_cast<std::uint8_t*>(buffer));
    return static_cast<ssize_t>(message.size());
}

ssize_t __wrap_mq_timedreceive(mqd_t queue, char* buffer, std::size_t room, unsigned* priority,
                               const timespec* /*end*/) {
    const ssize_t length = __wrap_mq_receive(queue, buffer, room, priority);
    errno = length < 0 ? ETIMEDOUT : errno;
    return length;
}

} // extern "C"
