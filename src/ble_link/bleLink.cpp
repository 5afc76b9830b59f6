#include "bleLink.h"

#include "bleLog.h"
#include "bleQueue.h"
#include "zvErrno.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <mqueue.h>
#include <poll.h>
#include <sys/time.h>
#include <sys/types.h>

std::uint8_t ble_msg_buffer[BLE_MSG_SIZE];

namespace {

constexpr long nanosecondsPerMicrosecond = 1000;
constexpr long nanosecondsPerMillisecond = 1'000'000;
constexpr std::int64_t millisecondsPerSecond = 1000;

timespec deadline() {
    timeval now{};
    gettimeofday(&now, nullptr);
    timespec end{};
    end.tv_sec = now.tv_sec + BLE_REPLY_TIMEOUT_S;
    end.tv_nsec = static_cast<long>(now.tv_usec) * nanosecondsPerMicrosecond;
    return end;
}

// A descriptor has flags of its own, so nobody else's sending changes. It fails only where there is
// no queue, and mq_send reports that.
void letSendingNotWait(mqd_t queue) {
    mq_attr attributes{};
    attributes.mq_flags = O_NONBLOCK;
    static_cast<void>(mq_setattr(queue, &attributes, nullptr));
}

std::int64_t milliseconds() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * millisecondsPerSecond + time.tv_nsec / nanosecondsPerMillisecond;
}

// False when the queue stays full until then.
bool waitForRoom(mqd_t queue, std::int64_t end) {
    const std::int64_t left = end - milliseconds();
    if (left <= 0) {
        return false;
    }
    pollfd waiting{queue, POLLOUT, 0};
    const int result = poll(&waiting, 1, static_cast<int>(left));
    return (result > 0 && waiting.revents == POLLOUT) || (result < 0 && errno == EINTR);
}

// A daemon that hangs lets its queue run full, and another process may take the room that poll has seen. So sending
// does not wait, and asks again until the time is over.
bool send(mqd_t queue, const std::uint8_t* message, std::uint32_t length) {
    letSendingNotWait(queue);
    const std::int64_t end = milliseconds() + BLE_REPLY_TIMEOUT_S * millisecondsPerSecond;
    while (mq_send(queue, reinterpret_cast<const char*>(message), length, 0) != 0) {
        if (errno != EAGAIN || !waitForRoom(queue, end)) {
            return false;
        }
    }
    return true;
}

} // namespace

int ble_send(const std::uint8_t* message, std::uint32_t length) {
    if (message == nullptr) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed, invalid parameters");
        return ZV_ERR_INVALID_PARAM;
    }
    if (requestQueue == nullptr || requestQueue->descriptor < 0) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed, IF not open");
        return ZV_ERR;
    }
    if (!send(requestQueue->descriptor, message, length)) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed");
        return ZV_ERR;
    }
    return ZV_OK;
}

int ble_receive(std::uint8_t* buffer, std::uint16_t* length) {
    if (buffer == nullptr || length == nullptr) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed, invalid parameters");
        return ZV_ERR_INVALID_PARAM;
    }
    if (replyQueue == nullptr || replyQueue->descriptor < 0) {
        // Fixed: callers tell receiving on a closed link from sending on one by this result.
        BLE_LOG(UTIL_LOG_ERROR, "Failed, IF not open");
        return ZV_ERR_INVALID_PARAM;
    }
    const timespec end = deadline();
    const ssize_t received =
        mq_timedreceive(replyQueue->descriptor, reinterpret_cast<char*>(buffer), *length, nullptr, &end);
    if (received < 0) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed error:%s, timeout\n", std::strerror(errno));
        *length = 0;
        return ZV_ERR;
    }
    *length = static_cast<std::uint16_t>(received);
    return ZV_OK;
}

int ble_send_receive_into(const std::uint8_t* message, std::uint32_t length, std::uint8_t* reply,
                          std::uint16_t* replyLength) {
    if (const int result = ble_send(message, length); result != ZV_OK) {
        return result;
    }
    return ble_receive(reply, replyLength);
}

int ble_send_receive(const std::uint8_t* message, std::uint32_t length, std::uint16_t* replyLength) {
    return ble_send_receive_into(message, length, ble_msg_buffer, replyLength);
}
