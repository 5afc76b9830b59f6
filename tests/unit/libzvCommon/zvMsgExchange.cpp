// Sending a request and receiving its answer.
#include "messageHolders.h"
#include "zvMbox.h"
#include "zvMsg.h"
#include "zvTlv.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace zvtest;

namespace {

// A process that takes one message from the mailbox, answers it on the mailbox it names (as many times as there are
// answers) and ends with the verdict of check.
template<typename Check>
pid_t peer(zvMbox_attr& inbox, const std::vector<Bytes>& answers, Check check) {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        std::uint8_t buffer[ZVMSG_MAX];
        const int length = snzvMbox_receive(buffer, sizeof buffer, &inbox);
        char name[64] = {};
        sntlv_find(name, sizeof name, ZVTLV_SRC, buffer);
        zvMbox_attr out;
        const int opened = zvMbox_txopen(name, &out);
        const bool good = check(Bytes(buffer, buffer + length), out);
        for (const Bytes& each : answers) {
            const void* const data = each.empty() ? static_cast<const void*>("") : each.data(); // never null
            zvMbox_send(data, static_cast<int>(each.size()), &out);
        }
        _exit(opened == 0 && good ? 0 : 1);
    }
    return child;
}

int ended(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool always(const Bytes&, zvMbox_attr&) {
    return true;
}

} // namespace

TEST(ZvMsg, ExchangeReplacesTheRequestByTheAnswer) {
    zvMbox_attr inbox;
    ASSERT_EQ(0, zvMbox_rxopen("/to", 2, &inbox));
    const pid_t child = peer(inbox, {answer("hello")}, [](const Bytes& got, zvMbox_attr& out) {
        mq_attr attributes{};
        mq_getattr(out.mqd, &attributes);
        return got == requestBytes && attributes.mq_maxmsg == 2 && attributes.mq_msgsize == 1500;
    });
    Holder message = request();
    g_timedreceive = 5;
    EXPECT_EQ(17, zvmsg_send_timedreceive(message, "/me", "/to", nullptr, 0));
    EXPECT_EQ(0, ended(child));
    EXPECT_EQ(17, message->length);
    EXPECT_EQ(answer("hello"), message.bytes());
    EXPECT_FALSE(exists("/dev/mqueue/me"));

    std::uint8_t* data = nullptr;
    std::uint16_t length = 0;
    EXPECT_EQ(message->buf + 4, zvmsg_response(message, &data, &length));
    EXPECT_EQ(message->buf + 8, data);
    EXPECT_EQ(5, length);
}

TEST(ZvMsg, ExchangeGoesThroughVia) {
    zvMbox_attr via;
    ASSERT_EQ(0, zvMbox_rxopen("/via", 2, &via));
    const pid_t child = peer(via, {answer("x")}, [](const Bytes& got, zvMbox_attr&) { return got == requestBytes; });
    Holder message = request();
    g_timedreceive = 5;
    EXPECT_EQ(13, zvmsg_send_timedreceive(message, "/me", "/to", "/via", 0));
    EXPECT_EQ(0, ended(child));
}

TEST(ZvMsg, AnswerLongerThanTheRequestStaysWhole) {
    zvMbox_attr inbox;
    ASSERT_EQ(0, zvMbox_rxopen("/to", 2, &inbox));
    const Bytes longer = answer(std::string(200, 'a'));
    const pid_t child = peer(inbox, {longer}, always);
    Holder message = request();
    EXPECT_EQ(212, zvmsg_send_timedreceive(message, "/me", "/to", nullptr, 0));
    EXPECT_EQ(0, ended(child));
    EXPECT_EQ(longer, message.bytes());
}

TEST(ZvMsg, ExchangeForgetsWhatWaitedInAStaleMailbox) {
    zvMbox_attr inbox;
    zvMbox_attr stale;
    ASSERT_EQ(0, zvMbox_rxopen("/to", 2, &inbox));
    ASSERT_EQ(0, zvMbox_create("/me", 2));
    ASSERT_EQ(0, zvMbox_txopen("/me", &stale));
    ASSERT_EQ(0, zvMbox_send(answer("old").data(), 15, &stale));
    const pid_t child = peer(inbox, {answer("new!"), answer("second")}, always);
    Holder message = request();
    g_timedreceive = 5;
    EXPECT_EQ(16, zvmsg_send_timedreceive(message, "/me", "/to", nullptr, 0));
    EXPECT_EQ(answer("new!"), message.bytes());
    ended(child);
    EXPECT_FALSE(exists("/dev/mqueue/me"));
}

TEST(ZvMsg, UnansweredExchangeGivesMinus1AndLeavesNoMailbox) {
    zvMbox_attr inbox;
    ASSERT_EQ(0, zvMbox_rxopen("/to", 2, &inbox));
    SyslogCapture log;
    Holder message = request();
    g_timedreceive = 1;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(-1, zvmsg_send_timedreceive(message, "/me", "/to", nullptr, 0));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(990));
    EXPECT_EQ(-1, message->length);
    EXPECT_EQ(requestBytes, Bytes(message->buf, message->buf + 35));
    EXPECT_FALSE(exists("/dev/mqueue/me"));
    EXPECT_EQ(requestBytes, received(inbox));
    EXPECT_TRUE(log.take().empty());
}

TEST(ZvMsg, HolderTooSmallForAnAnswerGivesMinus2AndLeavesNoMailbox) {
    zvMbox_attr inbox;
    ASSERT_EQ(0, zvMbox_rxopen("/to", 2, &inbox));
    Holder message = request(1499);
    EXPECT_EQ(-2, zvmsg_send_timedreceive(message, "/me", "/to", nullptr, 0));
    EXPECT_EQ(-2, message->length);
    EXPECT_EQ(requestBytes, Bytes(message->buf, message->buf + 35));
    EXPECT_FALSE(exists("/dev/mqueue/me"));
    EXPECT_EQ(requestBytes, received(inbox));
    std::uint8_t* data = nullptr;
    std::uint16_t length = 0;
    EXPECT_EQ(nullptr, zvmsg_response(message, &data, &length));
}

TEST(ZvMsg, ExchangeTakesAnAnswerOf1500Bytes) {
    zvMbox_attr inbox;
    ASSERT_EQ(0, zvMbox_rxopen("/to", 2, &inbox));
    const pid_t child = peer(inbox, {Bytes(1500, 0xAB)}, always);
    Holder message = request();
    EXPECT_EQ(1500, zvmsg_send_timedreceive(message, "/me", "/to", nullptr, 0));
    EXPECT_EQ(0, ended(child));
    EXPECT_EQ(Bytes(1500, 0xAB), message.bytes());
    std::uint8_t* data = nullptr;
    std::uint16_t length = 0;
    EXPECT_EQ(nullptr, zvmsg_response(message, &data, &length)); // no message at all, and none is read into it
}

// What an exchange leaves in a holder of 1504 bytes, full of response elements from earlier messages, whose request has
// one at offset 17 and ends at 43, when the first bytes of an answer come that would have an element of 9 bytes and
// claims some total length.
class CutAnswer : public testing::Test {
protected:
    void exchange(std::size_t size, std::uint16_t total) {
        zvMbox_attr inbox;
        ASSERT_EQ(0, zvMbox_rxopen("/to", 2, &inbox));
        Bytes bytes = {static_cast<std::uint8_t>(total >> 8), static_cast<std::uint8_t>(total), 0, 8, 0, 0, 9, 66};
        bytes.resize(17, 0xAB);
        bytes.resize(size);
        const pid_t child = peer(inbox, {bytes}, always);
        std::fill_n(message_->buf, 1505, std::uint8_t{0x55}); // from earlier messages
        for (std::size_t at = 100; at < 1504; at += 4) {
            std::copy_n("\0\0\0\x45", 4, message_->buf + at); // empty response elements
        }
        zvmsg_build(message_, "PD", "\x01\x02\x03", 3, 7);
        sntlv_add_bin(message_->buf, message_->capacity, 69, 4, "mine");
        g_timedreceive = 5;
        // 43 bytes, by the header; 8 less by the current length.
        EXPECT_EQ(static_cast<int>(size), zvmsg_send_timedreceive(message_, "/me", "/to", nullptr, 0));
        EXPECT_EQ(0, ended(child));
        EXPECT_EQ(bytes, message_.bytes());
    }
    Bytes between(std::size_t from, std::size_t to) { return Bytes(message_->buf + from, message_->buf + to); }

    Holder message_;
    std::uint8_t* data_ = nullptr;
    std::uint16_t length_ = 4711;
};

TEST_F(CutAnswer, HasNoElementOfTheRequest) {
    for (const std::size_t size : {0U, 1U, 2U, 4U, 8U, 16U, 17U}) {
        for (const std::uint16_t total : {std::uint16_t{17}, std::uint16_t{21}, std::uint16_t{25}, std::uint16_t{43}}) {
            SCOPED_TRACE(testing::Message() << size << ' ' << total);
            exchange(size, total);
            EXPECT_EQ(Bytes(43 - size, 0), between(size, 43));
            EXPECT_EQ(0x55, message_->buf[43]);
            EXPECT_EQ(nullptr, zvmsg_response(message_, &data_, &length_));
            EXPECT_EQ(nullptr, data_);
            EXPECT_EQ(4711, length_);
        }
    }
}

TEST_F(CutAnswer, HasNoElementOfEarlierMessagesEither) {
    for (const std::uint16_t total :
         {std::uint16_t{104}, std::uint16_t{1500}, std::uint16_t{1504}, std::uint16_t{0x7FFF}}) {
        SCOPED_TRACE(total);
        exchange(17, total);
        const std::size_t claimed = std::min<std::size_t>(total, 1500);
        EXPECT_EQ(Bytes(claimed - 17, 0), between(17, claimed));
        EXPECT_EQ(nullptr, zvmsg_response(message_, &data_, &length_));
    }
}

TEST_F(CutAnswer, LeavesAloneWhatLiesBehindTheCapacity) {
    for (const std::uint16_t total :
         {std::uint16_t{1500}, std::uint16_t{1501}, std::uint16_t{1504}, std::uint16_t{2000}, std::uint16_t{0x7FFF}}) {
        SCOPED_TRACE(total);
        exchange(16, total);
        EXPECT_EQ(Bytes(1484, 0), between(16, 1500));
        EXPECT_EQ((Bytes{0, 0, 0, 69, 0x55}), between(1500, 1505));
    }
}

TEST_F(CutAnswer, LeavesAloneWhatLiesBehindRequestAndAnswer) {
    exchange(17, 43);
    EXPECT_EQ(Bytes(57, 0x55), between(43, 100));
    EXPECT_EQ((Bytes{0, 0, 0, 69}), between(1500, 1504));
}
