#include "queue.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>

namespace zvcamera {
namespace {

constexpr std::size_t queueNameLimit = 255;
constexpr mode_t queueMode = 0664;

} // namespace

bool validQueueName(std::string_view name) {
    if (name.size() < 2 || name.size() > queueNameLimit || name.front() != '/') {
        return false;
    }
    const std::string_view rest = name.substr(1);
    const auto usable = [](char c) { return c > ' ' && c < '\x7f' && c != '/'; };
    return std::all_of(rest.begin(), rest.end(), usable) && rest != "." && rest != "..";
}

OwnedQueue::OwnedQueue(std::string name, long messages, long messageSize)
    : name_(std::move(name)),
      buffer_(static_cast<std::size_t>(messageSize)) {
    mq_attr attributes{};
    attributes.mq_maxmsg = messages;
    attributes.mq_msgsize = messageSize;
    mq_unlink(name_.c_str());
    queue_ = mq_open(name_.c_str(), O_RDONLY | O_CREAT | O_EXCL | O_NONBLOCK | O_CLOEXEC, queueMode, &attributes);
    if (queue_ == static_cast<mqd_t>(-1)) {
        throw std::system_error(errno, std::generic_category(), "creating queue " + name_);
    }
    // The umask must not decide who may talk to the daemon.
    fchmod(queue_, queueMode);
}

OwnedQueue::~OwnedQueue() {
    mq_close(queue_);
    mq_unlink(name_.c_str());
}

std::optional<Bytes> OwnedQueue::receive() {
    const ssize_t length = mq_receive(queue_, reinterpret_cast<char*>(buffer_.data()), buffer_.size(), nullptr);
    if (length < 0) {
        return std::nullopt;
    }
    return Bytes(buffer_.begin(), buffer_.begin() + length);
}

const char* toText(SendResult result) {
    switch (result) {
    case SendResult::Sent:
        return "sent";
    case SendResult::Full:
        return "queue full";
    case SendResult::Absent:
        return "no such queue";
    case SendResult::Refused:
        return "refused by the queue";
    }
    return "?";
}

SendResult sendWithoutWaiting(const std::string& name, ByteSpan message) {
    const mqd_t queue = mq_open(name.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (queue == static_cast<mqd_t>(-1)) {
        return SendResult::Absent;
    }
    // An empty message is a valid one, but its address must not be null.
    static constexpr char nothing = 0;
    const char* data = message.empty() ? &nothing : reinterpret_cast<const char*>(message.data());
    const int sent = mq_send(queue, data, message.size(), 0);
    const int error = errno;
    mq_close(queue);
    if (sent == 0) {
        return SendResult::Sent;
    }
    return error == EAGAIN ? SendResult::Full : SendResult::Refused;
}

} // namespace zvcamera
