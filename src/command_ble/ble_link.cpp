#include "ble_link.h"

#include "ble_elements.h"
#include "ble_log.h"
#include "command_ble.h"
#include "zvErrno.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mqueue.h>
#include <sys/time.h>
#include <unistd.h>

std::uint8_t ble_msg_buffer[BLE_MSG_SIZE];

namespace {

constexpr char networkQueue[] = "/to_zvnet";
constexpr char bleQueue[] = "/to_ble";
constexpr std::size_t rxNameSize = 129;
constexpr mqd_t notOpen = -1;

struct BleQueue {
    mqd_t descriptor;
    mq_attr attributes; // of the reply queue only
    const char* name;
};

BleQueue* rxQueue = nullptr; // owns its name
BleQueue* txQueue = nullptr;

// A record that closing may look at from the start, whatever else of the opening fails.
BleQueue* allocateQueue() {
    auto* queue = static_cast<BleQueue*>(std::malloc(sizeof(BleQueue)));
    if (queue == nullptr) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed to allocate memory");
        return nullptr;
    }
    queue->descriptor = notOpen;
    queue->name = nullptr;
    return queue;
}

int nameReplyQueue() {
    auto* name = static_cast<char*>(std::malloc(rxNameSize));
    if (name == nullptr) {
        // Not the text of the records' failure, deliberately: the log tells which of the allocations it was.
        BLE_LOG(UTIL_LOG_ERROR, "Unable to allocate memory");
        return ZV_ERR_OUTOFMEM;
    }
    std::memset(name, 0, rxNameSize);
    std::snprintf(name, rxNameSize - 1, "/to_ZVCC%d", static_cast<int>(getpid()));
    rxQueue->name = name;
    return ZV_OK;
}

int createReplyQueue() {
    // An earlier process with the same id may have left its queue behind.
    mq_unlink(rxQueue->name);
    rxQueue->attributes = {};
    rxQueue->attributes.mq_maxmsg = 2;
    rxQueue->attributes.mq_msgsize = BLE_MSG_SIZE;
    rxQueue->descriptor = mq_open(rxQueue->name, O_RDONLY | O_CREAT, 0664, &rxQueue->attributes);
    if (rxQueue->descriptor == notOpen) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed to create rx queue");
        return ZV_ERR;
    }
    return ZV_OK;
}

int openRequestQueue() {
    txQueue->descriptor = mq_open(txQueue->name, O_WRONLY);
    if (txQueue->descriptor == notOpen) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed to create tx queue");
        return ZV_ERR;
    }
    return ZV_OK;
}

int openQueues() {
    rxQueue = allocateQueue();
    if (rxQueue == nullptr) {
        return ZV_ERR_OUTOFMEM;
    }
    txQueue = allocateQueue();
    if (txQueue == nullptr) {
        return ZV_ERR_OUTOFMEM;
    }
    txQueue->name = networkQueue;
    if (const int result = nameReplyQueue(); result != ZV_OK) {
        return result;
    }
    if (const int result = createReplyQueue(); result != ZV_OK) {
        return result;
    }
    return openRequestQueue();
}

int closeRequestQueue() {
    if (txQueue == nullptr) {
        return ZV_OK;
    }
    int result = ZV_OK;
    if (txQueue->descriptor != notOpen) {
        result = mq_close(txQueue->descriptor);
        if (result != 0) {
            BLE_LOG(UTIL_LOG_ERROR, "Failed to close tx message queue");
        }
    }
    std::free(txQueue);
    txQueue = nullptr;
    return result;
}

int removeReplyQueue() {
    // The result of closing is deliberately left out: only a queue that stays behind in the system counts.
    if (mq_close(rxQueue->descriptor) != 0) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed to close rx message queue");
    }
    const int result = mq_unlink(rxQueue->name);
    if (result != 0) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed to unlink rx queue");
    }
    ble_reply_queue.setData(nullptr, 0);
    std::free(const_cast<char*>(rxQueue->name));
    return result;
}

timespec deadline() {
    timeval now{};
    gettimeofday(&now, nullptr);
    timespec end{};
    end.tv_sec = now.tv_sec + BLE_REPLY_TIMEOUT_S;
    end.tv_nsec = static_cast<long>(now.tv_usec) * 1000;
    return end;
}

} // namespace

int ble_interface_open() {
    if (rxQueue != nullptr || txQueue != nullptr) {
        BLE_LOG(UTIL_LOG_ERROR, "Interface already open");
        return ZV_ERR;
    }
    if (const int result = openQueues(); result != ZV_OK) {
        ble_interface_close();
        return result;
    }
    ble_set_text(ble_reply_queue, rxQueue->name);
    ble_set_text(ble_destination, bleQueue);
    ble_set_text(ble_network_destination, networkQueue);
    return ZV_OK;
}

int ble_interface_close() {
    int result = closeRequestQueue();
    if (rxQueue == nullptr) {
        return result;
    }
    // A reply queue that could not be created keeps its name, neither unlinked nor freed: this is deliberate,
    // the process ends soon after and whoever owns a queue of that name keeps it.
    if (rxQueue->descriptor != notOpen) {
        result = removeReplyQueue();
    }
    std::free(rxQueue);
    rxQueue = nullptr;
    return result;
}

int ble_send(const std::uint8_t* message, std::uint32_t length) {
    if (message == nullptr) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed, invalid parameters");
        return ZV_ERR_INVALID_PARAM;
    }
    if (txQueue == nullptr || txQueue->descriptor < 0) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed, IF not open");
        return ZV_ERR;
    }
    // With a time limit: the full queue of a daemon that stands still must not hold the request for ever.
    const timespec end = deadline();
    if (mq_timedsend(txQueue->descriptor, reinterpret_cast<const char*>(message), length, 0, &end) != 0) {
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
    if (rxQueue == nullptr || rxQueue->descriptor < 0) {
        // Deliberately another result than a send on a closed link: callers tell the two apart by it.
        BLE_LOG(UTIL_LOG_ERROR, "Failed, IF not open");
        return ZV_ERR_INVALID_PARAM;
    }
    const timespec end = deadline();
    const ssize_t received =
        mq_timedreceive(rxQueue->descriptor, reinterpret_cast<char*>(buffer), *length, nullptr, &end);
    if (received < 0) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed error:%s, timeout\n", std::strerror(errno));
        *length = 0;
        return ZV_ERR;
    }
    *length = static_cast<std::uint16_t>(received);
    return ZV_OK;
}

int ble_send_receive_into(const std::uint8_t* message, std::uint32_t length, std::uint8_t* reply,
                          std::uint16_t* reply_length) {
    if (const int result = ble_send(message, length); result != ZV_OK) {
        return result;
    }
    return ble_receive(reply, reply_length);
}

int ble_send_receive(const std::uint8_t* message, std::uint32_t length, std::uint16_t* reply_length) {
    return ble_send_receive_into(message, length, ble_msg_buffer, reply_length);
}
