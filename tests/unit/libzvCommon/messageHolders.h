// Messages in holders: requests, answers, and the holders themselves.
#pragma once

#include "reports.h"
#include "tlvOracle.h"
#include "zvMbox.h"
#include "zvMsg.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace zvtest {

using Texts = std::vector<std::string>;

// A holder that has room for the largest answer, even when its capacity says less.
class Holder {
public:
    explicit Holder(std::uint32_t capacity = ZVMSG_MAX) : storage_(ZVMSG_HOLDER_SIZE(3000)) {
        holder()->capacity = capacity;
    }
    zvmsg_holder* holder() { return reinterpret_cast<zvmsg_holder*>(storage_.data()); }
    zvmsg_holder* operator->() { return holder(); }
    operator zvmsg_holder*() { return holder(); } // NOLINT: as the C calls take it
    Bytes bytes() { return Bytes(holder()->buf, holder()->buf + holder()->length); }

private:
    Bytes storage_;
};

// A holder that ends, after its capacity + 4 bytes, at an inaccessible page.
class GuardedHolder {
public:
    GuardedHolder(std::uint32_t capacity, const Bytes& message, std::int32_t length)
        : memory_(ZVMSG_HOLDER_SIZE(capacity)),
          holder_(reinterpret_cast<zvmsg_holder*>(memory_.data())) {
        EXPECT_EQ(0U, capacity % alignof(zvmsg_holder));
        holder_->capacity = capacity;
        holder_->length = length;
        std::fill_n(holder_->buf, capacity + 4, std::uint8_t{0});
        std::copy(message.begin(), message.end(), holder_->buf);
    }
    zvmsg_holder* operator->() { return holder_; }
    operator zvmsg_holder*() { return holder_; } // NOLINT: as the C calls take it

private:
    GuardedBuffer memory_;
    zvmsg_holder* holder_;
};

// A request of type 7, without names and end marker.
inline Holder request(std::uint32_t capacity = ZVMSG_MAX) {
    Holder message(capacity);
    zvmsg_build(message, "PD", "\x01\x02\x03", 3, 7);
    return message;
}

// Type 7, code "PD", payload 01 02 03, answer to "/me", destination "/to".
inline const Bytes requestBytes = {0, 35, 0,  7,   0,   0,   2, 65, 'P', 'D', 0,   0,   3,   66, 1, 2, 3,  0,
                                   0, 3,  68, '/', 'm', 'e', 0, 0,  3,   67,  '/', 't', 'o', 0,  0, 0, 238};

// The next message in the mailbox; none when it is empty.
inline Bytes received(zvMbox_attr& box) {
    std::uint8_t buffer[ZVMSG_MAX];
    g_timedreceive = 0;
    const int length = snzvMbox_timedreceive(buffer, sizeof buffer, &box);
    return length < 0 ? Bytes{} : Bytes(buffer, buffer + length);
}

// An answer of type 8 with response data.
inline Bytes answer(const std::string& data) {
    Bytes bytes = {0, static_cast<std::uint8_t>(12 + data.size()), 0, 8, 0,
                   0, static_cast<std::uint8_t>(data.size()),      69};
    for (const char byte : data) {
        bytes.push_back(static_cast<std::uint8_t>(byte));
    }
    bytes.insert(bytes.end(), {0, 0, 0, 238});
    return bytes;
}

} // namespace zvtest
