// Checks of a send and of an exchange that end the process.
#include "messageHolders.h"
#include "zvMbox.h"
#include "zvMsg.h"

#include <cstdint>
#include <gtest/gtest.h>

using namespace zvtest;

namespace {

constexpr const char* module = "\033[31mASSERT:libzvCommon/src/zvMsg/";
constexpr const char* end = "\n\033[0m";

} // namespace

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
