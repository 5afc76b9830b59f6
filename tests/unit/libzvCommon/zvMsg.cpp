// Building a message and sending it.
#include "zvMsg.h"

#include "messageHolders.h"
#include "zvTlv.h"

#include <climits>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>

using namespace zvtest;

namespace {

long queuedIn(const zvMbox_attr& box) {
    mq_attr attributes{};
    EXPECT_EQ(0, mq_getattr(box.mqd, &attributes));
    return attributes.mq_curmsgs;
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
