#include "zvMsg.h"

#include "reports.h"
#include "tlvOracle.h"
#include "zvHexdump.h"
#include "zvMbox.h"
#include "zvTlv.h"

#include <chrono>
#include <climits>
#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace zvtest;
using Texts = std::vector<std::string>;

namespace {

constexpr const char* module = "\033[31mASSERT:libzvCommon/src/zvMsg/";
constexpr const char* end = "\n\033[0m";

// A holder with room for the largest answer, whatever capacity it claims.
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

Holder request(std::uint32_t capacity = ZVMSG_MAX) {
    Holder message(capacity);
    zvmsg_build(message, "PD", "\x01\x02\x03", 3, 7);
    return message;
}

// Type 7, code "PD", payload 01 02 03, answer to "/me", destination "/to".
const Bytes requestBytes = {0, 35, 0,  7,   0,   0,   2, 65, 'P', 'D', 0,   0,   3,   66, 1, 2, 3,  0,
                            0, 3,  68, '/', 'm', 'e', 0, 0,  3,   67,  '/', 't', 'o', 0,  0, 0, 238};

Bytes received(zvMbox_attr& box) {
    std::uint8_t buffer[ZVMSG_MAX];
    g_timedreceive = 0;
    const int length = snzvMbox_timedreceive(buffer, sizeof buffer, &box);
    return length < 0 ? Bytes{} : Bytes(buffer, buffer + length);
}

// An answer of type 8 with response data.
Bytes answer(const std::string& data) {
    Bytes bytes = {0, static_cast<std::uint8_t>(12 + data.size()), 0, 8, 0,
                   0, static_cast<std::uint8_t>(data.size()),      69};
    for (const char byte : data) {
        bytes.push_back(static_cast<std::uint8_t>(byte));
    }
    bytes.insert(bytes.end(), {0, 0, 0, 238});
    return bytes;
}

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

long queuedIn(const zvMbox_attr& box) {
    mq_attr attributes{};
    EXPECT_EQ(0, mq_getattr(box.mqd, &attributes));
    return attributes.mq_curmsgs;
}

bool always(const Bytes&, zvMbox_attr&) {
    return true;
}

} // namespace

TEST(ZvMsg, BuildStartsAMessageWithCodeAndPayload) {
    Holder message;
    EXPECT_EQ(17, zvmsg_build(message, "PD", "\x01\x02\x03", 3, 7));
    EXPECT_EQ(17, message->length);
    EXPECT_EQ((Bytes{0, 17, 0, 7, 0, 0, 2, 65, 'P', 'D', 0, 0, 3, 66, 1, 2, 3}), message.bytes());
}

TEST(ZvMsg, BuildTakesAnEmptyPayload) {
    Holder message;
    EXPECT_EQ(14, zvmsg_build(message, "\0\xFF", nullptr, 0, 255));
    EXPECT_EQ((Bytes{0, 14, 0, 255, 0, 0, 2, 65, 0, 255, 0, 0, 0, 66}), message.bytes());
}

TEST(ZvMsg, BuildLeavesOutWhatDoesNotFit) {
    Holder message(12);
    EXPECT_EQ(10, zvmsg_build(message, "PD", "123", 3, 7));
    EXPECT_EQ((Bytes{0, 10, 0, 7, 0, 0, 2, 65, 'P', 'D'}), message.bytes());
    Holder fits(13);
    EXPECT_EQ(17, zvmsg_build(fits, "PD", "123", 3, 7));
}

TEST(ZvMsg, HolderIsTwoWordsAndTheMessage) {
    EXPECT_EQ(0U, offsetof(zvmsg_holder, capacity));
    EXPECT_EQ(4U, offsetof(zvmsg_holder, length));
    EXPECT_EQ(8U, offsetof(zvmsg_holder, buf));
}

TEST(ZvMsg, SendAddsNamesAndEndMarker) {
    zvMbox_attr inbox;
    ASSERT_EQ(0, zvMbox_rxopen("/to", 2, &inbox));
    Holder message = request();
    EXPECT_EQ(0, zvmsg_send(message, "/me", "/to", nullptr, 0));
    EXPECT_EQ(requestBytes, received(inbox));
    EXPECT_EQ(35, message->length);
    EXPECT_EQ(requestBytes, message.bytes());
    EXPECT_EQ(0, tlv_validate(message->buf));
}

TEST(ZvMsg, SendGoesThroughViaWhileTheDestinationStays) {
    zvMbox_attr to;
    zvMbox_attr via;
    ASSERT_EQ(0, zvMbox_rxopen("/to", 2, &to));
    ASSERT_EQ(0, zvMbox_rxopen("/via", 2, &via));
    Holder message = request();
    EXPECT_EQ(0, zvmsg_send(message, "/me", "/to", "/via", 0));
    EXPECT_EQ(Bytes{}, received(to));
    EXPECT_EQ(requestBytes, received(via));
}

TEST(ZvMsg, SendLeavesNoDescriptorOpen) {
    zvMbox_attr inbox;
    ASSERT_EQ(0, zvMbox_rxopen("/to", 2, &inbox));
    const int before = dup(0);
    close(before);
    Holder message = request();
    zvmsg_send(message, "/me", "/to", nullptr, 0);
    Holder other = request();
    g_timedreceive = 0;
    zvmsg_send_timedreceive(other, "/me", "/to", nullptr, 0);
    const int after = dup(0);
    close(after);
    EXPECT_EQ(before, after);
}

TEST(ZvMsg, SmallHolderWithoutRoomForTheNamesStillGetsTheEndMarker) {
    zvMbox_attr inbox;
    ASSERT_EQ(0, zvMbox_rxopen("/to", 2, &inbox));
    Holder message = request(17); // 17 bytes are taken: room for an element without data
    EXPECT_EQ(0, zvmsg_send(message, "/me", "/to", nullptr, 0));
    EXPECT_EQ((Bytes{0, 21, 0, 7, 0, 0, 2, 65, 'P', 'D', 0, 0, 3, 66, 1, 2, 3, 0, 0, 0, 238}), received(inbox));
}

TEST(ZvMsg, MessageWithoutEndMarkerEndsTheSender) {
    const auto send = [] {
        Holder message = request(16);
        zvmsg_send(message, "/me", "/to", nullptr, 0);
    };
    const Reported all = reported(8, send);
    EXPECT_EQ(255, all.ended.status);
    EXPECT_EQ(Texts{module + std::string("zvmsg_send:45:0 == tlv_validate(iobuf->buf)") + end}, texts(all));
    const Reported silent = reported(7, send);
    EXPECT_EQ(255, silent.ended.status);
    EXPECT_EQ(Texts{}, texts(silent));
}

TEST(ZvMsg, MissingMailboxEndsTheSender) {
    const auto send = [] {
        Holder message = request();
        zvmsg_send(message, "/me", "/to", nullptr, 0);
    };
    const std::string assertion = module + std::string("zvmsg_send:48:zvMbox_txopen(via, &txq) == 0") + end;
    const Reported all = reported(0x00281420, send);
    EXPECT_EQ(255, all.ended.status);
    EXPECT_EQ((Texts{"[   zvMbox_txopen:  76] mbox=/to errno=No such file or directory\n", assertion}), texts(all));
    EXPECT_EQ(Texts{assertion}, texts(reported(15, send)));
    EXPECT_EQ(255, reported(0, send).ended.status);

    ASSERT_EQ(0, zvMbox_create("/to", 2));
    const Reported through = reported(15, [] {
        Holder message = request();
        zvmsg_send(message, "/me", "/to", "/via", 0);
    });
    EXPECT_EQ(255, through.ended.status);
    EXPECT_EQ(Texts{assertion}, texts(through));
}

TEST(ZvMsg, OversizedMessageEndsTheSender) {
    zvMbox_attr inbox;
    ASSERT_EQ(0, zvMbox_rxopen("/to", 2, &inbox));
    const auto send = [](std::uint32_t payload) {
        return [payload] {
            const std::string data(payload, 'x');
            Holder message(2900);
            zvmsg_build(message, "PD", data.data(), payload, 7);
            zvmsg_send(message, "/me", "/to", nullptr, 0);
        };
    };
    // 32 bytes beside the payload.
    EXPECT_EQ(0, reported(8, send(1468)).ended.status);
    EXPECT_EQ(1500U, received(inbox).size());
    const Reported all = reported(8, send(1469));
    EXPECT_EQ(255, all.ended.status);
    EXPECT_EQ(Texts{"\033[31mASSERT:libzvCommon/src/zvMbox/zvMbox_send:110:len <= ZVMSG_MAX\n\033[0m"}, texts(all));
}

TEST(ZvMsg, OversizedMessageEndsTheExchange) {
    ASSERT_EQ(0, zvMbox_create("/to", 2));
    const Reported all = reported(8, [] {
        const std::string data(1469, 'x');
        Holder message(2900);
        zvmsg_build(message, "PD", data.data(), 1469, 7);
        zvmsg_send_timedreceive(message, "/me", "/to", nullptr, 0);
    });
    EXPECT_EQ(255, all.ended.status);
    EXPECT_EQ(Texts{"\033[31mASSERT:libzvCommon/src/zvMbox/zvMbox_send:110:len <= ZVMSG_MAX\n\033[0m"}, texts(all));
    EXPECT_TRUE(exists("/dev/mqueue/me")); // left behind, and removed by the next exchange
}

TEST(ZvMsg, FullMailboxEndsTheExchange) {
    zvMbox_attr inbox;
    ASSERT_EQ(0, zvMbox_rxopen("/to", 1, &inbox));
    Holder message = request();
    ASSERT_EQ(0, zvmsg_send(message, "/me", "/to", nullptr, 0));
    const Reported all = reported(0x20, [] {
        Holder second = request();
        zvmsg_send_timedreceive(second, "/me", "/to", nullptr, 0);
    });
    EXPECT_EQ(255, all.ended.status);
    EXPECT_EQ((Texts{"[     zvMbox_send: 114] Mailbox Full: mbox=/to >= 1 messages\n",
                     "\033[31mASSERT:libzvCommon/src/zvMbox/zvMbox_send:116:(zvattr->attr.mq_curmsgs) < "
                     "zvattr->attr.mq_maxmsg\n\033[0m"}),
              texts(all));
}

TEST(ZvMsg, MailboxThatRefusesTheMessageIsNotTold) {
    ASSERT_EQ(0, zvMbox_create_ext("/to", 2, 10)); // 35 bytes are too many for it
    const Reported all = reported(0xFF, [] {
        Holder message = request();
        EXPECT_EQ(0, zvmsg_send(message, "/me", "/to", nullptr, 0));
        EXPECT_EQ(requestBytes, message.bytes());
        g_timedreceive = 0;
        Holder second = request();
        EXPECT_EQ(-1, zvmsg_send_timedreceive(second, "/me", "/to", nullptr, 0));
    });
    EXPECT_EQ(0, all.ended.status) << all.ended.out;
    EXPECT_EQ(Texts{}, texts(all));
    EXPECT_EQ("", all.ended.err);
    zvMbox_attr inbox;
    ASSERT_EQ(0, zvMbox_rxopen("/to", 2, &inbox));
    EXPECT_EQ(0, queuedIn(inbox));
    EXPECT_FALSE(exists("/dev/mqueue/me"));
}

TEST(ZvMsg, CurrentLengthBehindTheHolderIsNeitherTracedNorSentFromThere) {
    zvMbox_attr inbox;
    ASSERT_EQ(0, zvMbox_rxopen("/to", 2, &inbox));
    const Bytes start(requestBytes.begin(), requestBytes.begin() + 17);
    const auto send = [&](std::int32_t length) {
        return reported(0x308, [&start, length] {
            Bytes message = start;
            message[1] = 17;
            GuardedHolder holder(40, message, length);
            zvmsg_send(holder, "/me", "/to", nullptr, 25);
        });
    };
    // Traced as far as the holder goes (44 bytes in three lines); sent as far as it goes, too.
    const Reported longer = send(1000);
    EXPECT_EQ(0, longer.ended.status);
    EXPECT_EQ(4U, longer.lines.size());
    EXPECT_EQ("DB>         00000020  0000ee00 00000000 00000000           ............    \n",
              longer.lines.back().text);
    Bytes expected = requestBytes;
    expected.resize(44);
    EXPECT_EQ(expected, received(inbox));
    for (const std::int32_t length : {1501, INT_MAX - 20, INT_MAX}) { // the sum stops at the largest number
        const Reported all = send(length);
        EXPECT_EQ(255, all.ended.status);
        ASSERT_EQ(5U, all.lines.size()) << length;
        EXPECT_EQ("\033[31mASSERT:libzvCommon/src/zvMbox/zvMbox_send:110:len <= ZVMSG_MAX\n\033[0m",
                  all.lines.back().text);
    }
    for (const std::int32_t length : {-100, INT_MIN}) {
        const Reported all = send(length);
        EXPECT_EQ(0, all.ended.status);
        EXPECT_EQ(Texts{"\n"}, texts(all)) << length;
    }
    EXPECT_EQ(Bytes{}, received(inbox));
}

TEST(ZvMsg, TotalLengthBehindTheHolderEndsTheSenderUnread) {
    for (const std::uint16_t total : {std::uint16_t{45}, std::uint16_t{0x7000}, std::uint16_t{0x7FFF}}) {
        const Reported all = reported(0x108, [total] {
            const Bytes message = {static_cast<std::uint8_t>(total >> 8), static_cast<std::uint8_t>(total), 0, 7};
            GuardedHolder holder(40, message, total);
            zvmsg_send(holder, "/me", "/to", nullptr, 25);
        });
        EXPECT_EQ(255, all.ended.status);
        ASSERT_FALSE(all.lines.empty());
        EXPECT_EQ(module + std::string("zvmsg_send:45:0 == tlv_validate(iobuf->buf)") + end, all.lines.back().text);
    }
}

TEST(ZvMsg, FullMailboxEndsTheSender) {
    zvMbox_attr inbox;
    ASSERT_EQ(0, zvMbox_rxopen("/to", 1, &inbox));
    Holder message = request();
    ASSERT_EQ(0, zvmsg_send(message, "/me", "/to", nullptr, 0));
    const Reported all = reported(0x20, [] {
        Holder second = request();
        zvmsg_send(second, "/me", "/to", nullptr, 0);
    });
    EXPECT_EQ(255, all.ended.status);
    EXPECT_EQ(2U, all.lines.size());
}

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
        const std::size_t claimed = std::min<std::size_t>(total, 1504);
        EXPECT_EQ(Bytes(claimed - 17, 0), between(17, claimed));
        EXPECT_EQ(0x55, message_->buf[1504]);
        EXPECT_EQ(nullptr, zvmsg_response(message_, &data_, &length_));
    }
}

TEST_F(CutAnswer, LeavesAloneWhatLiesBehindRequestAndAnswer) {
    exchange(17, 43);
    EXPECT_EQ(Bytes(57, 0x55), between(43, 100));
    EXPECT_EQ((Bytes{0, 0, 0, 69}), between(1500, 1504));
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
    EXPECT_FALSE(exists("/dev/mqueue/me"));
    EXPECT_EQ(requestBytes, received(inbox));
    std::uint8_t* data = nullptr;
    std::uint16_t length = 0;
    EXPECT_EQ(nullptr, zvmsg_response(message, &data, &length));
}

TEST(ZvMsg, ExchangeChecksEndTheProcess) {
    const std::string function = module + std::string("zvmsg_send_timedreceive:");
    const struct {
        std::uint32_t capacity;
        const char* from;
        const char* to;
        const char* via;
        std::string assertion;
    } rows[] = {
        {16, "/me", "/box", nullptr, "66:0 == tlv_validate(iobuf->buf)"},
        {1500, "noslash", "/box", nullptr, "70:zvMbox_rxopen(from, ZVMSG_MAX_COUNT_SM, &rxq) == 0"},
        {1500, "/me", "/none", nullptr, "73:zvMbox_txopen(via, &txq) == 0"},
        {1500, "/me", "/box", "/none", "73:zvMbox_txopen(via, &txq) == 0"},
    };
    ASSERT_EQ(0, zvMbox_create("/box", 4));
    for (const auto& row : rows) {
        const auto exchange = [&row] {
            Holder message = request(row.capacity);
            zvmsg_send_timedreceive(message, row.from, row.to, row.via, 0);
        };
        const Reported all = reported(8, exchange);
        EXPECT_EQ(255, all.ended.status);
        EXPECT_EQ(Texts{function + row.assertion + end}, texts(all));
        const Reported silent = reported(7, exchange);
        EXPECT_EQ(255, silent.ended.status);
        EXPECT_EQ(Texts{}, texts(silent));
    }
}

TEST(ZvMsg, InvalidMessageEndsTheExchangeBeforeTheStaleMailboxIsRemoved) {
    zvMbox_attr stale;
    ASSERT_EQ(0, zvMbox_create("/box", 4));
    ASSERT_EQ(0, zvMbox_create("/me", 2));
    ASSERT_EQ(0, zvMbox_txopen("/me", &stale));
    ASSERT_EQ(0, zvMbox_send("old", 3, &stale));
    const Reported all = reported(8, [] {
        Holder message = request(16);
        zvmsg_send_timedreceive(message, "/me", "/box", nullptr, 0);
    });
    EXPECT_EQ(255, all.ended.status);
    EXPECT_EQ(Texts{module + std::string("zvmsg_send_timedreceive:66:0 == tlv_validate(iobuf->buf)") + end},
              texts(all));
    zvMbox_attr left;
    ASSERT_EQ(0, zvMbox_rxopen("/me", 2, &left));
    EXPECT_EQ((Bytes{'o', 'l', 'd'}), received(left));
}

TEST(ZvMsg, ReplyMailboxIsMadeBeforeTheOtherIsOpened) {
    // Neither can be opened: the reply mailbox's name has no slash, the other mailbox does not exist.
    const Reported both = reported(8, [] {
        Holder message = request();
        zvmsg_send_timedreceive(message, "noslash", "/none", nullptr, 0);
    });
    EXPECT_EQ(255, both.ended.status);
    EXPECT_EQ(Texts{module +
                    std::string("zvmsg_send_timedreceive:70:zvMbox_rxopen(from, ZVMSG_MAX_COUNT_SM, &rxq) == 0") + end},
              texts(both));
    const Reported missing = reported(8, [] {
        Holder message = request();
        zvmsg_send_timedreceive(message, "/me", "/none", nullptr, 0);
    });
    EXPECT_EQ(255, missing.ended.status);
    EXPECT_EQ(Texts{module + std::string("zvmsg_send_timedreceive:73:zvMbox_txopen(via, &txq) == 0") + end},
              texts(missing));
    EXPECT_TRUE(exists("/dev/mqueue/me"));
}

TEST(ZvMsg, SentMessagesAreTracedUnderBit8AndTheirClass) {
    zvMbox_attr inbox;
    ASSERT_EQ(0, zvMbox_rxopen("/to", 2, &inbox));
    const auto send = [](int direction, std::uint32_t classes) {
        return [=] {
            g_debug = classes;
            Holder message = request();
            zvmsg_send(message, "/me", "/to", nullptr, direction);
        };
    };
    const auto linesOf = [&](std::uint32_t switches, int direction, std::uint32_t classes) {
        const Reported all = reported(switches, send(direction, classes));
        EXPECT_EQ(0, all.ended.status);
        EXPECT_EQ(requestBytes, received(inbox));
        return texts(all);
    };
    const Texts sent = {
        "\n",
        "DB>         00000000  00230007 00000241 50440000 03420102  .#.....APD...B..\n",
        "DB>         00000010  03000003 442f6d65 00000343 2f746f00  ....D/me...C/to.\n",
        "DB>         00000020  0000ee                               ...             \n",
    };
    EXPECT_EQ(sent, linesOf(0x108, 25, 0x30000000));
    EXPECT_EQ(sent, linesOf(0x108, 25, 0x10000000));
    EXPECT_EQ(Texts{}, linesOf(0x108, 25, 0x20000000));
    EXPECT_EQ(Texts{}, linesOf(0x008, 25, 0x30000000)); // bit 8 off
    EXPECT_EQ(Texts{}, linesOf(0x107, 25, 0x30000000)); // verbosity
    EXPECT_EQ(" UD>        ", linesOf(0x108, 10, 0x200)[1].substr(0, 12));
    for (const int none : {0, 27, -1, 28, INT_MAX, INT_MIN}) {
        EXPECT_EQ(Texts{}, linesOf(0x108, none, 0xFFFFFFFF)) << none;
    }
}

TEST(ZvMsg, OnlyTheTwoLastDirectionsAreTracedAtFirst) {
    zvMbox_attr inbox;
    ASSERT_EQ(0, zvMbox_rxopen("/to", 2, &inbox));
    const std::uint32_t initial = g_debug_level;
    const auto sweep = [&inbox](std::uint32_t switches) {
        const Reported all = reported(switches, [&inbox] {
            for (int direction = 0; direction < ZVMSG_DIRECTIONS; ++direction) {
                Holder message = request();
                zvmsg_send(message, "/me", "/to", nullptr, direction);
                EXPECT_EQ(requestBytes, received(inbox));
            }
        });
        EXPECT_EQ(0, all.ended.status) << all.ended.out;
        Texts markers;
        for (const LogLine& each : all.lines) {
            markers.push_back(each.text.substr(0, 12));
        }
        return markers;
    };
    EXPECT_EQ(Texts{}, sweep(initial)); // bit 8 is off
    EXPECT_EQ((Texts{"\n", "DB>         ", "DB>         ", "DB>         ", "\n", "DB<         ", "DB<         ",
                     "DB<         "}),
              sweep(initial | 0x100));
}

TEST(ZvMsg, ExchangeIsTracedAsWellAndInvalidMessagesBeforeTheProcessEnds) {
    zvMbox_attr inbox;
    ASSERT_EQ(0, zvMbox_rxopen("/to", 2, &inbox));
    EXPECT_EQ(4U, reported(0x108, [] {
                      g_timedreceive = 0;
                      Holder message = request();
                      zvmsg_send_timedreceive(message, "/me", "/to", nullptr, 26);
                  }).lines.size());
    const Texts lines = texts(reported(0x108, [] {
        Holder message = request(16);
        zvmsg_send(message, "/me", "/to", nullptr, 26);
    }));
    ASSERT_EQ(4U, lines.size());
    EXPECT_EQ("DB<         00000010  03                                   .               \n", lines[2]);
    EXPECT_THAT(lines[3], testing::HasSubstr("zvmsg_send:45:"));
}

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

TEST(ZvMsg, ResponseInAHolderWithoutCapacityLiesInsideTheCurrentLengthIfThatIsKnown) {
    const Bytes bytes = answer("hello"); // the data end at 13, the message at 17
    Holder message(0);
    std::copy(bytes.begin(), bytes.end(), message->buf);
    std::uint8_t* data = nullptr;
    std::uint16_t length = 4711;
    for (const std::int32_t current : {-1, INT_MIN, 1, 3, 4, 7, 8, 12}) {
        message->length = current;
        EXPECT_EQ(nullptr, zvmsg_response(message, &data, &length)) << current;
    }
    EXPECT_EQ(nullptr, data);
    EXPECT_EQ(4711, length);
    for (const std::int32_t current : {0, 13, 16, 17, 18, 1500, INT_MAX}) {
        message->length = current;
        data = nullptr;
        EXPECT_EQ(message->buf + 4, zvmsg_response(message, &data, &length)) << current;
        EXPECT_EQ(message->buf + 8, data);
        EXPECT_EQ(5, length);
    }
    message->buf[1] = 12; // a total length that cuts the data off
    for (const std::int32_t current : {0, 17, 1500}) {
        message->length = current;
        EXPECT_EQ(nullptr, zvmsg_response(message, &data, &length)) << current;
    }
}

TEST(ZvMsg, ResponseIsNullWithoutAnAnswer) {
    std::uint8_t* data = nullptr;
    std::uint16_t length = 4711;
    for (const std::int32_t current : {-1, -2, INT_MIN}) {
        GuardedHolder holder(20, answer("hello"), current);
        EXPECT_EQ(nullptr, zvmsg_response(holder, &data, &length)) << current;
    }
    EXPECT_EQ(nullptr, data);
    EXPECT_EQ(4711, length);
}

// Totals and lengths that lie, in a holder that ends at an inaccessible page.
TEST(ZvMsg, ResponseIsNotLookedForBehindTheHolder) {
    for (const int total : {0, 3, 4, 8, 12, 13, 16, 0x7FFF, 0x8000, 0xFFFF}) {
        for (const int element : {0, 1, 7, 8, 9, 0x7FFF, 0xFFFF}) {
            for (const std::int32_t current : {0, 4, 8, 16, 17, 1500, INT_MAX}) {
                const Bytes message = {
                    static_cast<std::uint8_t>(total >> 8),   static_cast<std::uint8_t>(total),   0, 8, 0,
                    static_cast<std::uint8_t>(element >> 8), static_cast<std::uint8_t>(element), 69};
                GuardedHolder holder(12, message, current);
                const int limit = total < 0x8000 ? std::min(total, 16) : 0;
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
