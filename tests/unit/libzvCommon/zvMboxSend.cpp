// Sending to a mailbox.
#include "mailboxPair.h"
#include "reports.h"
#include "zvMbox.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace zvtest;
using testing::HasSubstr;

namespace {

constexpr const char* oversized = "\033[31mASSERT:libzvCommon/src/zvMbox/zvMbox_send:110:len <= ZVMSG_MAX\n\033[0m";
constexpr const char* full = "\033[31mASSERT:libzvCommon/src/zvMbox/zvMbox_send:116:(zvattr->attr.mq_curmsgs) < "
                             "zvattr->attr.mq_maxmsg\n\033[0m";

} // namespace

TEST(ZvMbox, MessagesArriveInOrderAtPriority0) {
    Pair pair("/box");
    EXPECT_EQ(0, zvMbox_send("one", 3, &pair.tx));
    EXPECT_EQ(0, zvMbox_send("", 0, &pair.tx));
    EXPECT_EQ(1, pair.tx.attr.mq_curmsgs); // as read before the send
    EXPECT_EQ(2, pair.tx.attr.mq_maxmsg);
    char text[1500];
    unsigned priority = 99;
    EXPECT_EQ(3, mq_receive(pair.rx.mqd, text, sizeof text, &priority));
    EXPECT_EQ(0U, priority);
    EXPECT_EQ("one", std::string(text, 3));
    EXPECT_EQ(0, snzvMbox_receive(text, sizeof text, &pair.rx));
}

TEST(ZvMbox, Message1500BytesLongGoes) {
    Pair pair("/box");
    const std::string message(1500, 'm');
    EXPECT_EQ(0, zvMbox_send(message.data(), 1500, &pair.tx));
    char text[1500];
    ASSERT_EQ(1500, snzvMbox_receive(text, sizeof text, &pair.rx));
    EXPECT_EQ(std::string(text, 1500), message);
}

TEST(ZvMbox, LongerMessageEndsTheProcess) {
    Pair pair("/box");
    const auto send = [&] {
        const std::string message(1501, 'm');
        zvMbox_send(message.data(), 1501, &pair.tx);
    };
    const Reported all = reported(8, send);
    EXPECT_EQ(255, all.ended.status);
    EXPECT_EQ(Texts{oversized}, texts(all));
    EXPECT_EQ(0, attributesOf(pair.rx).mq_curmsgs);
    const Reported silent = reported(7, send);
    EXPECT_EQ(255, silent.ended.status);
    EXPECT_EQ(Texts{}, texts(silent));
}

TEST(ZvMbox, SendGivesMinus1WhenTheQueueRefuses) {
    zvMbox_attr box;
    zvMbox_init("/never", 2, &box);
    EXPECT_EQ(-1, zvMbox_send("x", 1, &box)); // not open
    ASSERT_EQ(0, zvMbox_create_ext("/small", 2, 10));
    ASSERT_EQ(0, zvMbox_txopen("/small", &box));
    EXPECT_EQ(-1, zvMbox_send("0123456789a", 11, &box));
    EXPECT_EQ(EMSGSIZE, errno);
    errno = 0;
    EXPECT_EQ(-1, zvMbox_send("x", -1, &box));
    EXPECT_EQ(EMSGSIZE, errno);
    EXPECT_EQ(0, zvMbox_send("0123456789", 10, &box));
}

TEST(ZvMbox, FullMailboxEndsTheSenderWithBothReportsUnderEveryCombinationOfBits) {
    Pair pair("/full");
    ASSERT_EQ(0, zvMbox_send("1", 1, &pair.tx));
    ASSERT_EQ(0, zvMbox_send("2", 1, &pair.tx));
    const std::string report = "[     zvMbox_send: 114] Mailbox Full: mbox=/full >= 2 messages\n";
    for (const std::uint32_t file : {0U, toFile}) {
        for (const std::uint32_t out : {0U, toStdout}) {
            const Reported all = reported(atMailbox | file | out, [&] { zvMbox_send("3", 1, &pair.tx); });
            EXPECT_EQ(255, all.ended.status);
            ASSERT_EQ((Texts{report, full}), texts(all));
            EXPECT_EQ(7, all.lines[0].priority);
            EXPECT_THAT(all.ended.err, HasSubstr(report));
            EXPECT_THAT(all.ended.err, HasSubstr(full));
            const std::string both = std::string("@").append(report).append("@").append(full);
            EXPECT_EQ(out != 0 ? both : "", withoutTimes(all.ended.out));
            EXPECT_EQ(file != 0 ? both : "(no file)", withoutTimes(all.file));
        }
    }
    EXPECT_EQ(2, attributesOf(pair.rx).mq_curmsgs);
}

TEST(ZvMbox, FullMailboxEndsTheSenderAtEveryVerbosity) {
    Pair pair("/full", 1);
    ASSERT_EQ(0, zvMbox_send("1", 1, &pair.tx));
    const auto send = [&] { zvMbox_send("2", 1, &pair.tx); };
    const Reported assertionOnly = reported(15, send);
    EXPECT_EQ(255, assertionOnly.ended.status);
    EXPECT_EQ(Texts{full}, texts(assertionOnly));
    const Reported silent = reported(7, send);
    EXPECT_EQ(255, silent.ended.status);
    EXPECT_EQ(Texts{}, texts(silent));
    EXPECT_EQ("", silent.ended.err);
}

TEST(ZvMbox, SenderLooksAtTheQueueAnewEveryTime) {
    Pair pair("/box", 1);
    char text[1500];
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(0, zvMbox_send("m", 1, &pair.tx));
        EXPECT_EQ(1, snzvMbox_receive(text, sizeof text, &pair.rx));
    }
}
