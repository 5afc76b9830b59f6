#include "bleLink.h"

#include "bleLog.h"
#include "bleQueue.h"
#include "zvErrno.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <poll.h>
#include <sys/time.h>
#include <sys/types.h>

std::uint8_t ble_msg_buffer[BLE_MSG_SIZE];

namespace {

constexpr long nanosecondsPerMicrosecond = 1000;
constexpr int millisecondsPerSecond = 1000;

constexpr int sendLimitSeconds = BLE_REPLY_TIMEOUT_S + 1; // poll ends before
constexpr int sendLimitRepeatSeconds = 1;

timespec deadline() {
    timeval now{};
    gettimeofday(&now, nullptr);
    timespec end{};
    end.tv_sec = now.tv_sec + BLE_REPLY_TIMEOUT_S;
    end.tv_nsec = static_cast<long>(now.tv_usec) * nanosecondsPerMicrosecond;
    return end;
}

constexpr itimerval noTimer{};

// Changes whether this thread takes the timer's signal, and returns whether it was blocked before.
bool setAlarmBlocked(bool blocked) {
    sigset_t set;
    sigset_t before{};
    sigemptyset(&before);
    sigemptyset(&set);
    sigaddset(&set, SIGALRM);
    pthread_sigmask(blocked ? SIG_BLOCK : SIG_UNBLOCK, &set, &before);
    return sigismember(&before, SIGALRM) == 1;
}

// Interrupts mq_send, which waits without a limit of its own when another process takes the room that poll has seen.
// A closed library's own timer stands still meanwhile, so that each signal meets the handler that it is meant for.
class SendLimit {
public:
    SendLimit() {
        setitimer(ITIMER_REAL, &noTimer, &timerBefore_);
        struct sigaction interrupting {};
        interrupting.sa_handler = [](int) {};
        sigaction(SIGALRM, &interrupting, &actionBefore_);
        wasBlocked_ = setAlarmBlocked(false); // a web server may hand it down blocked
        // Repeated, since the first signal may come just before mq_send begins to wait.
        const itimerval limit{{sendLimitRepeatSeconds, 0}, {sendLimitSeconds, 0}};
        setitimer(ITIMER_REAL, &limit, nullptr);
    }
    ~SendLimit() {
        setitimer(ITIMER_REAL, &noTimer, nullptr);
        if (wasBlocked_) {
            setAlarmBlocked(true);
        }
        sigaction(SIGALRM, &actionBefore_, nullptr);
        setitimer(ITIMER_REAL, &timerBefore_, nullptr);
    }
    SendLimit(const SendLimit&) = delete;
    SendLimit& operator=(const SendLimit&) = delete;

private:
    struct sigaction actionBefore_ {};
    itimerval timerBefore_{};
    bool wasBlocked_ = false;
};

// False when the queue stays full until the time limit. Whatever else fails, mq_send reports.
bool waitForRoom(mqd_t queue) {
    pollfd waiting{queue, POLLOUT, 0};
    return poll(&waiting, 1, BLE_REPLY_TIMEOUT_S * millisecondsPerSecond) != 0;
}

bool send(mqd_t queue, const std::uint8_t* message, std::uint32_t length) {
    const SendLimit limit;
    return waitForRoom(queue) && mq_send(queue, reinterpret_cast<const char*>(message), length, 0) == 0;
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
    // A daemon that hangs lets its queue run full; the request must not wait for room for ever.
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
