// A mailbox with both of its ends open.
#pragma once

#include "zvMbox.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <mqueue.h>
#include <string>
#include <vector>

namespace zvtest {

using Texts = std::vector<std::string>;

// The verbosity from which mailboxes report.
constexpr std::uint32_t atMailbox = 16;

// A receiving and a sending end of one mailbox.
struct Pair {
    zvMbox_attr rx;
    zvMbox_attr tx;
    explicit Pair(const char* name, int messages = 2) {
        EXPECT_EQ(0, zvMbox_rxopen(name, messages, &rx));
        EXPECT_EQ(0, zvMbox_txopen(name, &tx));
    }
};

// The attributes of the queue itself.
inline mq_attr attributesOf(const zvMbox_attr& box) {
    mq_attr attributes{};
    EXPECT_EQ(0, mq_getattr(box.mqd, &attributes));
    return attributes;
}

} // namespace zvtest
