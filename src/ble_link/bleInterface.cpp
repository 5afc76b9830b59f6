#include "bleInterface.h"

#include "bleElements.h"
#include "bleLink.h"
#include "bleLog.h"
#include "bleQueue.h"
#include "orphanQueues.h"
#include "replyQueueGuard.h"
#include "zvErrno.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

BleQueue* replyQueue = nullptr;
BleQueue* requestQueue = nullptr;

namespace {

constexpr char networkQueue[] = "/to_zvnet";
constexpr char bleQueue[] = "/to_ble";
constexpr std::size_t nameSize = 129;

// Of the reply queue.
constexpr mode_t replyQueueMode = 0664;
constexpr long replyQueueMessages = 2;

// A queue that is not open yet: closing may look at it, wherever the opening fails.
BleQueue* allocateQueue() {
    auto* queue = static_cast<BleQueue*>(std::malloc(sizeof(BleQueue)));
    if (queue == nullptr) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed to allocate memory");
        return nullptr;
    }
    queue->descriptor = queueNotOpen;
    queue->name = nullptr;
    return queue;
}

int nameReplyQueue(pid_t& process) {
    auto* name = static_cast<char*>(std::malloc(nameSize));
    if (name == nullptr) {
        // Fixed: readers of the log tell this failure from that of a queue's record by its text.
        BLE_LOG(UTIL_LOG_ERROR, "Unable to allocate memory");
        return ZV_ERR_OUTOFMEM;
    }
    // Without the barrier, the compiler makes one calloc of both calls, and memory that malloc refuses is not noticed.
    asm volatile("" : : "r"(name) : "memory");
    std::memset(name, 0, nameSize);
    process = getpid();
    std::snprintf(name, nameSize - 1, "%s%d", replyQueueFamily, static_cast<int>(process));
    replyQueue->name = name;
    return ZV_OK;
}

bool makeReplyQueue() {
    replyQueue->descriptor = mq_open(replyQueue->name, O_RDONLY | O_CREAT, replyQueueMode, &replyQueue->attributes);
    return replyQueue->descriptor != queueNotOpen;
}

// Requests that were killed may have left so many queues behind that the system has no room for another one.
void makeReplyQueueInTheirPlace() {
    if (errno != EMFILE && errno != ENOSPC) {
        return;
    }
    if (const int removed = removeOrphanQueues(); removed > 0) {
        BLE_LOG(UTIL_LOG_WARN, "Removed reply queues of processes that are gone: %d", removed);
    }
    // Also when there were none: another request may have removed them just before.
    makeReplyQueue();
}

int createReplyQueue(pid_t process) {
    guardReplyQueue(replyQueue->name, process);
    // An earlier process with the same id may have left its queue behind.
    mq_unlink(replyQueue->name);
    replyQueue->attributes = {};
    replyQueue->attributes.mq_maxmsg = replyQueueMessages;
    replyQueue->attributes.mq_msgsize = BLE_MSG_SIZE;
    if (!makeReplyQueue()) {
        makeReplyQueueInTheirPlace();
    }
    if (replyQueue->descriptor == queueNotOpen) {
        releaseReplyQueue();
        BLE_LOG(UTIL_LOG_ERROR, "Failed to create rx queue");
        return ZV_ERR;
    }
    return ZV_OK;
}

int openRequestQueue() {
    requestQueue->descriptor = mq_open(requestQueue->name, O_WRONLY);
    if (requestQueue->descriptor == queueNotOpen) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed to create tx queue");
        return ZV_ERR;
    }
    return ZV_OK;
}

int openQueues() {
    replyQueue = allocateQueue();
    if (replyQueue == nullptr) {
        return ZV_ERR_OUTOFMEM;
    }
    requestQueue = allocateQueue();
    if (requestQueue == nullptr) {
        return ZV_ERR_OUTOFMEM;
    }
    requestQueue->name = networkQueue;
    pid_t process = 0;
    if (const int result = nameReplyQueue(process); result != ZV_OK) {
        return result;
    }
    if (const int result = createReplyQueue(process); result != ZV_OK) {
        return result;
    }
    return openRequestQueue();
}

int closeRequestQueue() {
    if (requestQueue == nullptr) {
        return ZV_OK;
    }
    int result = ZV_OK;
    if (requestQueue->descriptor != queueNotOpen) {
        result = mq_close(requestQueue->descriptor);
        if (result != 0) {
            BLE_LOG(UTIL_LOG_ERROR, "Failed to close tx message queue");
        }
    }
    std::free(requestQueue);
    requestQueue = nullptr;
    return result;
}

int removeReplyQueue() {
    // Fixed: clients see the result of the removal alone, since only a queue that stays in the system does harm.
    if (mq_close(replyQueue->descriptor) != 0) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed to close rx message queue");
    }
    const int result = mq_unlink(replyQueue->name);
    if (result != 0) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed to unlink rx queue");
    }
    releaseReplyQueue();
    replyQueueElement.setData(nullptr, 0);
    std::free(const_cast<char*>(replyQueue->name));
    return result;
}

} // namespace

int ble_interface_open() {
    if (replyQueue != nullptr || requestQueue != nullptr) {
        BLE_LOG(UTIL_LOG_ERROR, "Interface already open");
        return ZV_ERR;
    }
    if (const int result = openQueues(); result != ZV_OK) {
        ble_interface_close();
        return result;
    }
    setText(replyQueueElement, replyQueue->name);
    setText(destinationElement, bleQueue);
    setText(networkDestinationElement, networkQueue);
    return ZV_OK;
}

int ble_interface_close() {
    int result = closeRequestQueue();
    if (replyQueue == nullptr) {
        return result;
    }
    // A queue that could not be created has nothing to remove; its name is not freed, since the process ends soon.
    if (replyQueue->descriptor != queueNotOpen) {
        result = removeReplyQueue();
    }
    std::free(replyQueue);
    replyQueue = nullptr;
    return result;
}
