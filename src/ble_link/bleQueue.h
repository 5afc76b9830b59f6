// The queues of the link, shared by its opening and closing and by its sending and receiving.
#pragma once

#include <mqueue.h>

inline constexpr mqd_t queueNotOpen = -1;

struct BleQueue {
    mqd_t descriptor;
    mq_attr attributes; // of the reply queue only
    const char* name;   // of the reply queue: owned
};

// Null while the link is closed.
extern BleQueue* replyQueue;
extern BleQueue* requestQueue;
