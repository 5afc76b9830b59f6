// Queues without a kernel: every queue can be opened, and the program's function answers what is sent. It stands in for
// mq_open and its family in the programs that link it.
#pragma once

#include "fuzzInput.h"

#include <deque>
#include <functional>
#include <string>

namespace zvfuzz {

struct QueueStandIn {
    // Called with each message that is sent; puts into `waiting` what is received next. False: the queue is full.
    std::function<bool(const Bytes& message)> sent;
    std::deque<Bytes> waiting;
    int opened = 0; // descriptors not closed
};

QueueStandIn& queues();

} // namespace zvfuzz
