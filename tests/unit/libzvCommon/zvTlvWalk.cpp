// The walk over elements: every truncation of a message and every dangerous length in each element, in memory that ends
// where the message ends.
#include "tlvOracle.h"
#include "zvMsg.h"
#include "zvTlv.h"

#include <cstdint>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>

using namespace zvtest;

namespace {

// Elements 65 "PD", 66 5 bytes, 68 "/src", 67 "/to", 69 6 bytes, end marker.
Bytes wholeMessage(std::uint8_t type) {
    return {0,   48,  0,   type, 0, 0, 2,  65,  'P', 'D', 0, 0, 5, 66, 1, 2, 3, 4, 5, 0, 0, 4, 68, '/',
            's', 'r', 'c', 0,    0, 3, 67, '/', 't', 'o', 0, 0, 6, 69, 9, 8, 7, 6, 5, 4, 0, 0, 0,  238};
}

constexpr std::uint8_t tags[] = {65, 66, 67, 68, 69, 238};

constexpr std::size_t elementOffsets[] = {4, 10, 19, 27, 34, 44};

void setLength(Bytes& message, std::size_t at, std::size_t length) {
    message[at] = static_cast<std::uint8_t>(length >> 8);
    message[at + 1] = static_cast<std::uint8_t>(length);
}

// Cuts each message to each size, and puts each length into each element that is left. The memory has 4 bytes at least,
// even when the total length says less.
void forEachMessage(const std::function<void(const Bytes&)>& check) {
    for (const std::uint8_t type : {std::uint8_t{1}, std::uint8_t{2}}) {
        for (std::size_t size = 0; size <= 48; ++size) {
            Bytes cut = wholeMessage(type);
            cut.resize(std::max<std::size_t>(size, 4));
            setLength(cut, 0, size);
            check(cut);
            for (const std::size_t offset : elementOffsets) {
                if (offset + 4 > size) {
                    continue;
                }
                const std::size_t remaining = size - offset - 4;
                for (const std::size_t length :
                     {std::size_t{0}, std::size_t{1}, remaining - 1, remaining, remaining + 1, std::size_t{0x7fff},
                      std::size_t{0x8000}, std::size_t{0xffff}}) {
                    Bytes changed = cut;
                    setLength(changed, offset + 1, length & 0xffff);
                    check(changed);
                    if (changed.size() > 4) { // with a marker, so that the verdict is about the lengths
                        changed.back() = 238;
                        check(changed);
                    }
                }
            }
        }
    }
}

} // namespace

TEST(ZvTlvWalk, SearchesAnswerAsTheBytesSay) {
    GuardedBuffer memory(48);
    forEachMessage([&](const Bytes& message) {
        std::uint8_t* const buffer = memory.place(message);
        for (int tag = 0; tag < 256; ++tag) {
            const auto expected = firstOf(message, static_cast<std::uint8_t>(tag));
            const std::uint8_t* const found = tlv_find(buffer, static_cast<std::uint8_t>(tag));
            ASSERT_EQ(expected ? buffer + expected->offset : nullptr, found) << tag;
        }
    });
}

TEST(ZvTlvWalk, CopiesHoldWholeDataOrNothing) {
    GuardedBuffer memory(48);
    forEachMessage([&](const Bytes& message) {
        std::uint8_t* const buffer = memory.place(message);
        for (const std::uint8_t tag : tags) {
            Bytes copy(70000, 0xEE);
            const auto found = firstOf(message, tag);
            const bool whole = found && found->offset + 4 + found->length <= message.size();
            const int length = sntlv_find(copy.data(), 70000, tag, buffer);
            ASSERT_EQ(whole ? static_cast<int>(found->length) : 0, length);
            ASSERT_TRUE(!whole || std::equal(copy.begin(), copy.begin() + length, &message[found->offset] + 4));
            ASSERT_EQ(0xEE, copy[static_cast<std::size_t>(length)]);
        }
    });
}

TEST(ZvTlvWalk, ValidationAnswersAsTheBytesSay) {
    GuardedBuffer memory(48);
    int seen[4] = {};
    forEachMessage([&](const Bytes& message) {
        const int verdict = verdictOf(message);
        ++seen[-verdict];
        ASSERT_EQ(verdict, tlv_validate(memory.place(message)));
    });
    for (const int count : seen) { // all four results occur
        EXPECT_GT(count, 0);
    }
}

TEST(ZvTlvWalk, BlankingStopsAtTheEndOfTheMessage) {
    GuardedBuffer memory(48);
    forEachMessage([&](const Bytes& message) {
        for (const std::uint8_t tag : tags) {
            const auto found = firstOf(message, tag);
            if (!found) {
                continue;
            }
            std::uint8_t* const buffer = memory.place(message);
            sntlv_void(buffer, tag);
            Bytes expected = message;
            expected[found->offset] = 'W';
            const std::size_t start = found->offset + 4;
            for (std::size_t i = start; i < std::min(start + found->length, message.size()); ++i) {
                expected[i] = 0;
            }
            ASSERT_EQ(expected, Bytes(buffer, buffer + message.size()));
        }
    });
}

TEST(ZvTlvWalk, RemovalNeverMakesAMessageLonger) {
    GuardedBuffer memory(48);
    forEachMessage([&](const Bytes& message) {
        for (const std::uint8_t tag : tags) {
            const auto found = firstOf(message, tag);
            if (!found) {
                continue;
            }
            std::uint8_t* const buffer = memory.place(message);
            const std::size_t size = std::min(4 + found->length, message.size() - found->offset);
            ASSERT_EQ(-static_cast<int>(size), sntlv_remove(buffer, 48, tag));
            ASSERT_EQ(static_cast<int>(message.size() - size), sntlv_msg_len(buffer));
            ASSERT_TRUE(std::equal(message.begin() + 2, message.end(), buffer + 2));
        }
    });
}

// The total length is the limit; in a holder of a capacity, one that no message there can have gives way to the
// capacity. The current length, -1 here, is none.
TEST(ZvTlvWalk, ResponseLiesInsideTotalAndHolder) {
    constexpr std::size_t room = 52;
    forEachMessage([&](const Bytes& message) {
        // Totals up to the largest, whatever the number of bytes.
        for (const std::size_t total : {message.size(), std::size_t{0x7fff}, std::size_t{0xffff}}) {
            for (const std::uint32_t capacity : {48U, 0U}) {
                if (capacity == 0 && total == 0x7fff) {
                    continue; // nothing says how many bytes there are
                }
                alignas(zvmsg_holder) static std::uint8_t storage[sizeof(zvmsg_holder) + room];
                auto* const holder = reinterpret_cast<zvmsg_holder*>(storage);
                holder->capacity = capacity;
                holder->length = -1;
                Bytes bytes(room, 69); // response tags all over the bytes behind the message
                std::copy(message.begin(), message.end(), bytes.begin());
                setLength(bytes, 0, total);
                std::copy(bytes.begin(), bytes.end(), holder->buf);

                const std::size_t limit = total == 0xffff ? 0 : total > room ? 48 : total;
                setLength(bytes, 0, limit);
                const auto found = firstOf(bytes, 69);
                const bool whole = found && found->offset + 4 + found->length <= limit;
                std::uint8_t* data = nullptr;
                std::uint16_t length = 4711;
                const std::uint8_t* const result = zvmsg_response(holder, &data, &length);
                ASSERT_EQ(whole, result != nullptr);
                ASSERT_EQ(whole ? holder->buf + found->offset + 4 : nullptr, data);
                ASSERT_EQ(whole ? found->length : 4711U, length);
            }
        }
    });
}
