// The response element of a message.
#include "messageHolders.h"
#include "zvMsg.h"
#include "zvTlv.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <gtest/gtest.h>

using namespace zvtest;

TEST(ZvMsg, ResponseIsNullWithoutItsElementAndStoresNothing) {
    Holder message = request();
    std::uint8_t byte = 0;
    std::uint8_t* data = &byte;
    std::uint16_t length = 4711;
    EXPECT_EQ(nullptr, zvmsg_response(message, &data, &length));
    EXPECT_EQ(&byte, data);
    EXPECT_EQ(4711, length);
}

TEST(ZvMsg, ResponseMayBeEmpty) {
    Holder message;
    const Bytes empty = answer("");
    std::copy(empty.begin(), empty.end(), message->buf);
    message->length = static_cast<std::int32_t>(empty.size());
    std::uint8_t* data = nullptr;
    std::uint16_t length = 4711;
    EXPECT_NE(nullptr, zvmsg_response(message, &data, &length));
    EXPECT_EQ(message->buf + 8, data);
    EXPECT_EQ(0, length);
}

TEST(ZvMsg, ResponseOfAMessageThatTheCallerFilledInIsFound) {
    const Bytes message = answer("hello"); // 17 bytes
    std::uint8_t* data = nullptr;
    std::uint16_t length = 0;
    for (const std::int32_t current : {0, 1, 12, 17, 20, 24, 25, 1500, INT_MAX}) { // the holder has 24 bytes
        GuardedHolder holder(20, message, current);
        EXPECT_EQ(holder->buf + 4, zvmsg_response(holder, &data, &length)) << current;
        EXPECT_EQ(holder->buf + 8, data);
        EXPECT_EQ(5, length);
    }
}

TEST(ZvMsg, ResponseAddedBehindTheCurrentLengthIsFound) {
    Holder message;
    EXPECT_EQ(14, zvmsg_build(message, "PD", nullptr, 0, 8));
    EXPECT_EQ(8, sntlv_add_bin(message->buf, message->capacity, 69, 4, "pong"));
    EXPECT_EQ(4, sntlv_add_dat(message->buf, message->capacity, 238, 0));
    EXPECT_EQ(14, message->length); // as the build left it
    std::uint8_t* data = nullptr;
    std::uint16_t length = 0;
    EXPECT_EQ(message->buf + 14, zvmsg_response(message, &data, &length));
    EXPECT_EQ(message->buf + 18, data);
    EXPECT_EQ(4, length);
}

TEST(ZvMsg, ResponseInAHolderWithoutCapacityLiesInsideTheTotalLength) {
    const Bytes bytes = answer("hello"); // the data end at 13, the message at 17
    Holder message(0);
    std::copy(bytes.begin(), bytes.end(), message->buf);
    std::uint8_t* data = nullptr;
    std::uint16_t length = 4711;
    for (const std::int32_t current : {INT_MIN, -1, 0, 1, 4, 8, 12, 13, 17, 1500, INT_MAX}) {
        message->length = current;
        data = nullptr;
        EXPECT_EQ(message->buf + 4, zvmsg_response(message, &data, &length)) << current;
        EXPECT_EQ(message->buf + 8, data);
        EXPECT_EQ(5, length);
    }
    data = nullptr;
    length = 4711;
    for (const std::uint8_t total : Bytes{0, 3, 4, 7, 8, 12}) { // cuts the element off
        message->buf[1] = total;
        EXPECT_EQ(nullptr, zvmsg_response(message, &data, &length)) << int{total};
    }
    EXPECT_EQ(nullptr, data);
    EXPECT_EQ(4711, length);
}

TEST(ZvMsg, ResponseIsFoundUnderANegativeCurrentLength) {
    for (const std::int32_t current : {-1, -2, INT_MIN}) {
        GuardedHolder holder(20, answer("hello"), current);
        std::uint8_t* data = nullptr;
        std::uint16_t length = 4711;
        EXPECT_EQ(holder->buf + 4, zvmsg_response(holder, &data, &length)) << current;
        EXPECT_EQ(holder->buf + 8, data);
        EXPECT_EQ(5, length);
    }
}

TEST(ZvMsg, ResponseThatEndsBehindTheCapacityIsFound) {
    GuardedHolder holder(20, {}, 0);
    EXPECT_EQ(14, zvmsg_build(holder, "PD", nullptr, 0, 8));
    EXPECT_EQ(10, sntlv_add_bin(holder->buf, 20, 69, 6, "behind")); // 14 + 6 are not above the capacity
    EXPECT_EQ(24, sntlv_msg_len(holder->buf));
    std::uint8_t* data = nullptr;
    std::uint16_t length = 0;
    EXPECT_EQ(holder->buf + 14, zvmsg_response(holder, &data, &length));
    EXPECT_EQ(holder->buf + 18, data);
    EXPECT_EQ(6, length);
}

// Totals and lengths that lie, in a holder that ends at an inaccessible page. Its message may end 4 bytes behind the
// capacity; a total length above that is wrong, and then the capacity is the bound.
TEST(ZvMsg, ResponseIsNotLookedForBehindTheHolder) {
    for (const int total : {0, 3, 4, 8, 12, 13, 16, 17, 0x7FFF, 0x8000, 0xFFFF}) {
        for (const int element : {0, 1, 4, 5, 7, 8, 9, 0x7FFF, 0xFFFF}) {
            for (const std::int32_t current : {INT_MIN, -1, 0, 4, 8, 16, 17, 1500, INT_MAX}) {
                const Bytes message = {
                    static_cast<std::uint8_t>(total >> 8),   static_cast<std::uint8_t>(total),   0, 8, 0,
                    static_cast<std::uint8_t>(element >> 8), static_cast<std::uint8_t>(element), 69};
                GuardedHolder holder(12, message, current);
                const int limit = total >= 0x8000 ? 0 : total > 16 ? 12 : total;
                std::uint8_t* data = nullptr;
                std::uint16_t length = 4711;
                const bool found = zvmsg_response(holder, &data, &length) != nullptr;
                EXPECT_EQ(8 <= limit && 8 + element <= limit, found) << total << ' ' << element << ' ' << current;
                EXPECT_EQ(found ? element : 4711, length);
                EXPECT_EQ(found ? holder->buf + 8 : nullptr, data);
            }
        }
    }
}

// A holder of which the caller has provided the capacity and no more.
TEST(ZvMsg, ResponseIsNotLookedForBehindTheCapacityWhenTheTotalLengthIsWrong) {
    for (const int total : {21, 24, 2000, 0x7FFF}) {
        GuardedBuffer memory(sizeof(zvmsg_holder) + 16);
        auto* const holder = reinterpret_cast<zvmsg_holder*>(memory.data());
        holder->capacity = 16;
        holder->length = 16;
        std::fill_n(holder->buf, 16, std::uint8_t{0}); // empty elements
        holder->buf[0] = static_cast<std::uint8_t>(total >> 8);
        holder->buf[1] = static_cast<std::uint8_t>(total);
        std::uint8_t* data = nullptr;
        std::uint16_t length = 4711;
        EXPECT_EQ(nullptr, zvmsg_response(holder, &data, &length)) << total;
    }
}
