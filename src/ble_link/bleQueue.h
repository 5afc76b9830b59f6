// The queues of the link, shared by its opening and closing and by its sending and receiving.
#pragma once

#include <mqueue.h>

inline constexpr mqd_t queueNotOpen = -1;

// A reply queue's name is this and its process's id in decimal digits.
inline constexpr char replyQueueFamily[] = "/to_ZVCC";

struct BleQueue {
    mqd_t descriptor;
    mq_attr attributes; // of the reply queue only
    const char* name;   // of the reply queue: owned
};

// Null while the link is closed.
extern BleQueue* replyQueue;
extern BleQueue* requestQueue;
