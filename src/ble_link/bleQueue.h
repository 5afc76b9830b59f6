// The queues of the link, shared by its opening and closing and by its sending and receiving.
#pragma once

#include <mqueue.h>

inline constexpr mqd_t ble_queue_not_open = -1;

struct BleQueue {
    mqd_t descriptor;
    mq_attr attributes; // of the reply queue only
    const char* name;   // of the reply queue: owned
};

// Null while the link is closed.
extern BleQueue* ble_rx_queue;
extern BleQueue* ble_tx_queue;
