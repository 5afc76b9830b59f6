#include "queuePeer.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace zvtest {
namespace {

constexpr const char* requestQueue = "/to_zvnet";
constexpr char stopMark[] = "-- stop --";

// Never waits: with a full or missing reply queue the message is lost.
void send(const Bytes& message) {
    const mqd_t queue = mq_open(QueuePeer::replyQueueName().c_str(), O_WRONLY | O_NONBLOCK);
    if (queue < 0) {
        return;
    }
    // An empty vector may have a null address.
    const char* const data = message.empty() ? "" : reinterpret_cast<const char*>(message.data());
    mq_send(queue, data, message.size(), 0);
    mq_close(queue);
}

} // namespace

QueuePeer::QueuePeer(long messageSize) : messageSize_(messageSize) {
    mq_attr attributes{};
    attributes.mq_maxmsg = 10;
    attributes.mq_msgsize = messageSize;
    mq_unlink(requestQueue);
    queue_ = mq_open(requestQueue, O_RDWR | O_CREAT | O_EXCL, 0664, &attributes);
    if (queue_ < 0) {
        std::perror("creating /to_zvnet (tests run inside tests/support/in-namespace)");
        std::abort();
    }
    thread_ = std::thread([this] { run(); });
}

QueuePeer::~QueuePeer() {
    stopping_ = true;
    mq_send(queue_, stopMark, sizeof stopMark, 0);
    thread_.join();
    mq_close(queue_);
    mq_unlink(requestQueue);
}

std::string QueuePeer::replyQueueName() {
    return "/to_ZVCC" + std::to_string(getpid());
}

void QueuePeer::reply(Bytes message) {
    const std::lock_guard<std::mutex> lock(mutex_);
    script_.push_back({std::move(message)});
}

void QueuePeer::stayMute() {
    const std::lock_guard<std::mutex> lock(mutex_);
    script_.emplace_back();
}

void QueuePeer::replyWith(Answer answer) {
    const std::lock_guard<std::mutex> lock(mutex_);
    answer_ = std::move(answer);
}

std::vector<Bytes> QueuePeer::requests() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return requests_;
}

std::size_t QueuePeer::requestCount() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return requests_.size();
}

std::vector<unsigned> QueuePeer::priorities() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return priorities_;
}

void QueuePeer::run() {
    Bytes buffer(static_cast<std::size_t>(messageSize_));
    while (true) {
        unsigned priority = 0;
        const ssize_t length = mq_receive(queue_, reinterpret_cast<char*>(buffer.data()), buffer.size(), &priority);
        if (length < 0) {
            return;
        }
        const Bytes request(buffer.begin(), buffer.begin() + length);
        // Takes the requests before the mark: a full queue needs room for it.
        if (stopping_) {
            if (request == Bytes(std::begin(stopMark), std::end(stopMark))) {
                return;
            }
            continue;
        }
        for (const Bytes& message : nextAnswer(request, priority)) {
            send(message);
        }
    }
}

std::vector<Bytes> QueuePeer::nextAnswer(const Bytes& request, unsigned priority) {
    const std::lock_guard<std::mutex> lock(mutex_);
    requests_.push_back(request);
    priorities_.push_back(priority);
    if (!script_.empty()) {
        std::vector<Bytes> messages = std::move(script_.front());
        script_.pop_front();
        return messages;
    }
    return answer_ ? answer_(request) : std::vector<Bytes>{Bytes{}};
}

} // namespace zvtest
