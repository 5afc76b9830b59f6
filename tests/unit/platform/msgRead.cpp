// Reading messages: which are accepted and which refused, where the stream stands then, and that nothing behind their
// end is read.
#include "guarded.h"
#include "syslogCapture.h"
#include "zvCtrlD.h"
#include "zvLog.h"

#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace {

using zvtest::Guarded;
using Bytes = std::vector<unsigned char>;

constexpr unsigned char placeholder = 20;

const Bytes reply = {0x00, 0x0F, 0x00, 0x03, 0x00, 0x00, 0x03, 0x45, 0x00, 0x11, 0x22, 0x00, 0x00, 0x00, 0xEE};

// Reads a message and returns whether it was accepted; checks stream and message in both cases.
bool accepted(const Bytes& bytes) {
    const Guarded arrived{bytes};
    MemStream stream(arrived.data(), arrived.size());
    Msg message(placeholder);
    stream >> message;
    if (stream.fail()) {
        EXPECT_EQ(placeholder, message.getCategory());
        EXPECT_EQ(4U, message.getSize());
        for (unsigned type = 0; type < 256; ++type) {
            EXPECT_EQ(nullptr, message.findElement(static_cast<unsigned char>(type)));
        }
        EXPECT_EQ(bytes.size(), stream.getUnread());
        return false;
    }
    const std::size_t total = static_cast<std::size_t>(bytes[0]) << 8 | bytes[1];
    EXPECT_EQ(total, message.getSize());
    EXPECT_EQ(bytes[3], message.getCategory());
    EXPECT_EQ(bytes.size() - total, stream.getUnread());
    g_logLevel = UTIL_LOG_TRACE; // otherwise dump() reads nothing
    g_debug_level |= 0x100;
    message.dump(nullptr);
    return true;
}

void putLength(Bytes& bytes, std::size_t at, std::size_t length) {
    bytes[at] = static_cast<unsigned char>(length >> 8);
    bytes[at + 1] = static_cast<unsigned char>(length);
}

} // namespace

TEST(MsgRead, TakesCategoryAndElementsInOrder) {
    const Guarded arrived{reply};
    MemStream stream(arrived.data(), arrived.size());
    Msg message(placeholder);
    stream >> message;
    ASSERT_FALSE(stream.fail());
    EXPECT_EQ(3, message.getCategory());
    const MsgElement* response = message.findElement(69);
    ASSERT_NE(nullptr, response);
    EXPECT_EQ(3, response->getLength());
    EXPECT_EQ(arrived.data() + 8, response->getData());
    const MsgElement* tail = message.findElement(238);
    ASSERT_NE(nullptr, tail);
    EXPECT_EQ(0, tail->getLength());
    EXPECT_EQ(nullptr, tail->getData());
}

TEST(MsgRead, WhatIsAcceptedIsTraced) {
    zvtest::SyslogCapture log;
    EXPECT_TRUE(accepted(reply));
    EXPECT_EQ(std::vector<std::string>{"message category 3, 15 bytes [69:3] 001122 [238:0]"}, log.messages());
}

TEST(MsgRead, AcceptsAnEmptyMessage) {
    EXPECT_TRUE(accepted({0x00, 0x04, 0x00, 0x03}));
}

TEST(MsgRead, AcceptsAMissingEndMarker) {
    EXPECT_TRUE(accepted({0x00, 0x09, 0x00, 0x03, 0x00, 0x00, 0x01, 0x45, 0x00}));
}

TEST(MsgRead, AcceptsABlankedElement) {
    EXPECT_TRUE(accepted({0x00, 0x0D, 0x00, 0x03, 'W', 0x00, 0x01, 0x45, 0x00, 0x00, 0x00, 0x00, 0xEE}));
}

TEST(MsgRead, RefusesAnEndMarkerThatIsNotTheEnd) {
    EXPECT_FALSE(accepted({0x00, 0x0D, 0x00, 0x03, 0x00, 0x00, 0x00, 0xEE, 0x00, 0x00, 0x01, 0x45, 0x00}));
    EXPECT_FALSE(accepted({0x00, 0x09, 0x00, 0x03, 0x00, 0x00, 0x01, 0xEE, 0x00}));
    EXPECT_FALSE(accepted({0x00, 0x0C, 0x00, 0x03, 0x00, 0x00, 0x00, 0xEE, 0x00, 0x00, 0x00, 0xEE}));
}

TEST(MsgRead, RefusesEveryTruncation) {
    for (std::size_t length = 0; length < reply.size(); ++length) {
        EXPECT_FALSE(accepted({reply.begin(), reply.begin() + static_cast<std::ptrdiff_t>(length)})) << length;
    }
}

TEST(MsgRead, RefusesEveryTruncationThatTheHeaderAdmits) {
    // A cut between two elements leaves a valid message, any other cut does not.
    for (std::size_t length = 4; length < reply.size(); ++length) {
        Bytes cut(reply.begin(), reply.begin() + static_cast<std::ptrdiff_t>(length));
        putLength(cut, 0, length);
        EXPECT_EQ(length == 4 || length == 11, accepted(cut)) << length;
    }
}

TEST(MsgRead, StandsBehindTheMessageWhenBytesFollow) {
    Bytes longer = reply;
    longer.insert(longer.end(), {0xEE, 0xFF, 0x07});
    const Guarded arrived{longer};
    MemStream stream(arrived.data(), arrived.size());
    Msg message(placeholder);
    stream >> message;
    ASSERT_FALSE(stream.fail());
    EXPECT_EQ(3, message.getCategory());
    EXPECT_EQ(15U, message.getSize());
    EXPECT_EQ(3, stream.getUnread());
    unsigned char next = 0;
    stream >> next;
    EXPECT_EQ(0xEE, next);
}

TEST(MsgRead, ReadsOneMessageAfterAnother) {
    const Guarded arrived{0x00, 0x04, 0x00, 0x02, 0x00, 0x09, 0x00, 0x03, 0x00, 0x00, 0x01, 0x45, 0x07, 0x00};
    MemStream stream(arrived.data(), arrived.size());
    Msg message(placeholder);
    stream >> message;
    EXPECT_EQ(2, message.getCategory());
    EXPECT_EQ(nullptr, message.findElement(69));
    EXPECT_EQ(10, stream.getUnread());
    stream >> message;
    EXPECT_EQ(3, message.getCategory());
    ASSERT_NE(nullptr, message.findElement(69));
    EXPECT_EQ(arrived.data() + 12, message.findElement(69)->getData());
    EXPECT_EQ(1, stream.getUnread());
    stream >> message; // one byte is no message
    EXPECT_TRUE(stream.fail());
    EXPECT_EQ(placeholder, message.getCategory());
    EXPECT_EQ(1, stream.getUnread());
}

// A buffer that still holds the request, since nothing came in its place.
TEST(MsgRead, FindsTheRequestInItsWholeBuffer) {
    Bytes buffer = {0x00, 0x0E, 0x00, 0x02, 0x00, 0x00, 0x02, 0x41, 'B', 'L', 0x00, 0x00, 0x00, 0xEE};
    buffer.resize(1500, 0x5A);
    const Guarded arrived{buffer};
    MemStream stream(arrived.data(), arrived.size());
    Msg message(placeholder);
    stream >> message;
    EXPECT_EQ(2, message.getCategory());
    EXPECT_EQ(14U, message.getSize());
    EXPECT_EQ(1486, stream.getUnread());
}

TEST(MsgRead, AcceptsTheTotalLengthsAtWhichAnElementEnds) {
    for (std::size_t total = 0; total <= 0xFFFF; ++total) {
        Bytes bytes = reply;
        putLength(bytes, 0, total);
        ASSERT_EQ(total == 4 || total == 11 || total == 15, accepted(bytes)) << total;
    }
}

TEST(MsgRead, AnElementEndsInsideTheMessageEvenWhenBytesFollow) {
    // 9 of 13 bytes; the element claims 2 to 5, of which the message holds 1.
    for (const unsigned char length : Bytes{2, 3, 4, 5}) {
        EXPECT_FALSE(accepted({0x00, 0x09, 0x00, 0x03, 0x00, 0x00, length, 0x45, 1, 2, 3, 4, 5}));
    }
    EXPECT_TRUE(accepted({0x00, 0x09, 0x00, 0x03, 0x00, 0x00, 1, 0x45, 1, 2, 3, 4, 5}));
}

TEST(MsgRead, RefusesEveryElementLengthThatDoesNotAddUp) {
    for (std::size_t length = 0; length <= 0xFFFF; ++length) {
        Bytes bytes = reply;
        putLength(bytes, 5, length);
        // 3 is the right one; 7 lets the element swallow the end marker.
        ASSERT_EQ(length == 3 || length == 7, accepted(bytes)) << length;
    }
}

TEST(MsgRead, RefusesHostileLengthsInEveryTruncation) {
    for (std::size_t end = 8; end <= reply.size(); ++end) {
        for (const std::size_t length : {std::size_t{0}, std::size_t{1}, end - 9, end - 8, end - 7, std::size_t{0x7FFF},
                                         std::size_t{0x8000}, std::size_t{0xFFFF}}) {
            Bytes bytes(reply.begin(), reply.begin() + static_cast<std::ptrdiff_t>(end));
            putLength(bytes, 0, end);
            putLength(bytes, 5, length);
            accepted(bytes); // either result is fine, as long as nothing outside is touched
        }
    }
}

TEST(MsgRead, ANewReadReplacesWhatWasRead) {
    const Guarded good{reply};
    const Guarded bad{0x00, 0x05, 0x00, 0x03};
    Msg message(placeholder);
    MemStream first(good.data(), good.size());
    first >> message;
    EXPECT_EQ(3, message.getCategory());
    MemStream second(bad.data(), bad.size());
    second >> message;
    EXPECT_TRUE(second.fail());
    EXPECT_EQ(placeholder, message.getCategory());
    EXPECT_EQ(nullptr, message.findElement(69));
}

TEST(MsgRead, AFailedStreamGivesNothing) {
    const Guarded arrived{reply};
    MemStream stream(arrived.data(), arrived.size());
    stream.setFail();
    Msg message(placeholder);
    stream >> message;
    EXPECT_EQ(placeholder, message.getCategory());
    EXPECT_EQ(nullptr, message.findElement(69));
}

TEST(MsgRead, TakesAsManyElementsAsArrived) {
    Bytes bytes(0xFFFC, 0);
    putLength(bytes, 0, bytes.size());
    EXPECT_TRUE(accepted(bytes)); // 16382 empty elements of type 0
}

TEST(MsgRead, WhatWasReadCanBeWritten) {
    const Guarded arrived{reply};
    MemStream in(arrived.data(), arrived.size());
    Msg message(placeholder);
    in >> message;
    unsigned char buffer[64];
    MemStream out(buffer, sizeof buffer);
    out << message;
    EXPECT_EQ(Bytes(buffer, buffer + out.getLength()), reply);
}

TEST(MsgRead, RandomBytesNeverLeadOutside) {
    std::mt19937 random(20240301);
    std::size_t taken = 0;
    for (int round = 0; round < 50000; ++round) {
        Bytes bytes(random() % 80);
        for (unsigned char& byte : bytes) {
            byte = static_cast<unsigned char>(random() % 3 == 0 ? random() : random() % 12);
        }
        if (bytes.size() >= 4 && round % 4 != 0) {
            putLength(bytes, 0, bytes.size());
        }
        taken += accepted(bytes) ? 1U : 0U;
    }
    EXPECT_GT(taken, 100U); // both outcomes are exercised
    EXPECT_LT(taken, 49000U);
}

TEST(MsgRead, RandomlyDamagedMessagesNeverLeadOutside) {
    std::mt19937 random(20240302);
    for (int round = 0; round < 50000; ++round) {
        Bytes bytes = reply;
        for (unsigned change = random() % 4; change > 0; --change) {
            bytes[random() % bytes.size()] = static_cast<unsigned char>(random());
        }
        bytes.resize(bytes.size() - random() % 3);
        accepted(bytes);
    }
}
