#include "bleInterface.h"

#include "bleElements.h"
#include "bleLink.h"
#include "bleLog.h"
#include "bleQueue.h"
#include "zvErrno.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

BleQueue* ble_rx_queue = nullptr;
BleQueue* ble_tx_queue = nullptr;

namespace {

constexpr char networkQueue[] = "/to_zvnet";
constexpr char bleQueue[] = "/to_ble";
constexpr std::size_t rxNameSize = 129;

// A record that closing may look at from the start, whatever else of the opening fails.
BleQueue* allocateQueue() {
    auto* queue = static_cast<BleQueue*>(std::malloc(sizeof(BleQueue)));
    if (queue == nullptr) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed to allocate memory");
        return nullptr;
    }
    queue->descriptor = ble_queue_not_open;
    queue->name = nullptr;
    return queue;
}

int nameReplyQueue() {
    auto* name = static_cast<char*>(std::malloc(rxNameSize));
    if (name == nullptr) {
        // Not the text of the records' failure, deliberately: both are part of the interface.
        BLE_LOG(UTIL_LOG_ERROR, "Unable to allocate memory");
        return ZV_ERR_OUTOFMEM;
    }
    std::memset(name, 0, rxNameSize);
    std::snprintf(name, rxNameSize - 1, "/to_ZVCC%d", static_cast<int>(getpid()));
    ble_rx_queue->name = name;
    return ZV_OK;
}

int createReplyQueue() {
    // An earlier process with the same id may have left its queue behind.
    mq_unlink(ble_rx_queue->name);
    ble_rx_queue->attributes = {};
    ble_rx_queue->attributes.mq_maxmsg = 2;
    ble_rx_queue->attributes.mq_msgsize = BLE_MSG_SIZE;
    ble_rx_queue->descriptor = mq_open(ble_rx_queue->name, O_RDONLY | O_CREAT, 0664, &ble_rx_queue->attributes);
    if (ble_rx_queue->descriptor == ble_queue_not_open) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed to create rx queue");
        return ZV_ERR;
    }
    return ZV_OK;
}

int openRequestQueue() {
    ble_tx_queue->descriptor = mq_open(ble_tx_queue->name, O_WRONLY);
    if (ble_tx_queue->descriptor == ble_queue_not_open) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed to create tx queue");
        return ZV_ERR;
    }
    return ZV_OK;
}

int openQueues() {
    ble_rx_queue = allocateQueue();
    if (ble_rx_queue == nullptr) {
        return ZV_ERR_OUTOFMEM;
    }
    ble_tx_queue = allocateQueue();
    if (ble_tx_queue == nullptr) {
        return ZV_ERR_OUTOFMEM;
    }
    ble_tx_queue->name = networkQueue;
    if (const int result = nameReplyQueue(); result != ZV_OK) {
        return result;
    }
    if (const int result = createReplyQueue(); result != ZV_OK) {
        return result;
    }
    return openRequestQueue();
}

int closeRequestQueue() {
    if (ble_tx_queue == nullptr) {
        return ZV_OK;
    }
    int result = ZV_OK;
    if (ble_tx_queue->descriptor != ble_queue_not_open) {
        result = mq_close(ble_tx_queue->descriptor);
        if (result != 0) {
            BLE_LOG(UTIL_LOG_ERROR, "Failed to close tx message queue");
        }
    }
    std::free(ble_tx_queue);
    ble_tx_queue = nullptr;
    return result;
}

int removeReplyQueue() {
    // The result of closing is deliberately left out: only a queue that stays behind in the system counts.
    if (mq_close(ble_rx_queue->descriptor) != 0) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed to close rx message queue");
    }
    const int result = mq_unlink(ble_rx_queue->name);
    if (result != 0) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed to unlink rx queue");
    }
    ble_reply_queue.setData(nullptr, 0);
    std::free(const_cast<char*>(ble_rx_queue->name));
    return result;
}

} // namespace

int ble_interface_open() {
    if (ble_rx_queue != nullptr || ble_tx_queue != nullptr) {
        BLE_LOG(UTIL_LOG_ERROR, "Interface already open");
        return ZV_ERR;
    }
    if (const int result = openQueues(); result != ZV_OK) {
        ble_interface_close();
        return result;
    }
    ble_set_text(ble_reply_queue, ble_rx_queue->name);
    ble_set_text(ble_destination, bleQueue);
    ble_set_text(ble_network_destination, networkQueue);
    return ZV_OK;
}

int ble_interface_close() {
    int result = closeRequestQueue();
    if (ble_rx_queue == nullptr) {
        return result;
    }
    // The name of a reply queue that could not be created is neither unlinked nor freed, deliberately: the process ends
    // soon after.
    if (ble_rx_queue->descriptor != ble_queue_not_open) {
        result = removeReplyQueue();
    }
    std::free(ble_rx_queue);
    ble_rx_queue = nullptr;
    return result;
}
