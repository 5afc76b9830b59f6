#include "zvMbox.h"

#include "reports.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/time.h>

using namespace zvtest;
using testing::HasSubstr;
using Texts = std::vector<std::string>;

namespace {

constexpr std::uint32_t atMailbox = 16; // the verbosity from which mailboxes report

constexpr const char* oversized = "\033[31mASSERT:libzvCommon/src/zvMbox/zvMbox_send:110:len <= ZVMSG_MAX\n\033[0m";
constexpr const char* full = "\033[31mASSERT:libzvCommon/src/zvMbox/zvMbox_send:116:(zvattr->attr.mq_curmsgs) < "
                             "zvattr->attr.mq_maxmsg\n\033[0m";
constexpr const char* notReceived = "\033[31mASSERT:libzvCommon/src/zvMbox/snzvMbox_receive:124:(len = "
                                    "mq_receive(zvattr->mqd, buf, size, NULL)) "
                                    ">= 0\n\033[0m";

// A receiving and a sending end of one mailbox.
struct Pair {
    zvMbox_attr rx;
    zvMbox_attr tx;
    explicit Pair(const char* name, int messages = 2) {
        EXPECT_EQ(0, zvMbox_rxopen(name, messages, &rx));
        EXPECT_EQ(0, zvMbox_txopen(name, &tx));
    }
};

mq_attr attributesOf(const zvMbox_attr& box) {
    mq_attr attributes{};
    EXPECT_EQ(0, mq_getattr(box.mqd, &attributes));
    return attributes;
}

mode_t modeOf(const char* name) {
    struct stat found {};
    EXPECT_EQ(0, stat((std::string("/dev/mqueue") + name).c_str(), &found));
    return found.st_mode & 07777;
}

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Lets signals that are caught come again and again, so that one meets the call that follows whenever it waits.
void interruptFromNowOn() {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    EXPECT_EQ(0, sigaction(SIGALRM, &action, nullptr)); // calls are not taken up again after it
    const itimerval often = {{0, 20000}, {0, 20000}};
    EXPECT_EQ(0, setitimer(ITIMER_REAL, &often, nullptr));
}

} // namespace

TEST(ZvMbox, InitFillsTheHandleAndOpensNothing) {
    zvMbox_attr box;
    std::fill_n(reinterpret_cast<unsigned char*>(&box), sizeof box, static_cast<unsigned char>(0xAA));
    const char* const name = "/init";
    zvMbox_init(name, 7, &box);
    EXPECT_EQ(-1, box.mqd);
    EXPECT_EQ(0, box.attr.mq_flags);
    EXPECT_EQ(7, box.attr.mq_maxmsg);
    EXPECT_EQ(1500, box.attr.mq_msgsize);
    EXPECT_EQ(0, box.attr.mq_curmsgs);
    EXPECT_EQ(name, box.name);
    EXPECT_FALSE(exists("/dev/mqueue/init"));
}

TEST(ZvMbox, OpeningForReceivingCreatesTheQueue) {
    zvMbox_attr box;
    ASSERT_EQ(0, zvMbox_rxopen_ext("/rx", 3, 700, &box));
    EXPECT_EQ(3, attributesOf(box).mq_maxmsg);
    EXPECT_EQ(700, attributesOf(box).mq_msgsize);
    EXPECT_EQ(3, box.attr.mq_maxmsg);
    EXPECT_EQ(700, box.attr.mq_msgsize);
    EXPECT_STREQ("/rx", box.name);
    char byte = 'x';
    EXPECT_EQ(-1, mq_send(box.mqd, &byte, 1, 0)); // for receiving only
    EXPECT_EQ(0, zvMbox_close(&box));
}

TEST(ZvMbox, OpeningForReceivingTakes1500BytesUnlessToldOtherwise) {
    zvMbox_attr box;
    ASSERT_EQ(0, zvMbox_rxopen("/rx", 4, &box));
    EXPECT_EQ(4, attributesOf(box).mq_maxmsg);
    EXPECT_EQ(1500, attributesOf(box).mq_msgsize);
}

TEST(ZvMbox, ExistingQueueKeepsItsOwnAttributes) {
    zvMbox_attr first;
    zvMbox_attr second;
    ASSERT_EQ(0, zvMbox_rxopen_ext("/rx", 3, 700, &first));
    ASSERT_EQ(0, zvMbox_rxopen_ext("/rx", 9, 100, &second));
    EXPECT_EQ(3, attributesOf(second).mq_maxmsg);
    EXPECT_EQ(700, attributesOf(second).mq_msgsize);
    EXPECT_EQ(9, second.attr.mq_maxmsg); // what was asked for
}

TEST(ZvMbox, QueueHasMode0664AsTheUmaskLeavesIt) {
    zvMbox_attr box;
    umask(0);
    ASSERT_EQ(0, zvMbox_rxopen("/open", 2, &box));
    EXPECT_EQ(0664U, modeOf("/open"));
    umask(022);
    ASSERT_EQ(0, zvMbox_rxopen("/masked", 2, &box));
    EXPECT_EQ(0644U, modeOf("/masked"));
    umask(077);
    ASSERT_EQ(0, zvMbox_create("/private", 2));
    EXPECT_EQ(0600U, modeOf("/private"));
}

TEST(ZvMbox, OpeningForSendingNeverCreates) {
    zvMbox_attr box;
    g_debug_level = 0;
    errno = 0;
    EXPECT_EQ(-1, zvMbox_txopen("/none", &box));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_EQ(-1, box.mqd);
    EXPECT_EQ(40, box.attr.mq_maxmsg);
    EXPECT_EQ(1500, box.attr.mq_msgsize);
    EXPECT_FALSE(exists("/dev/mqueue/none"));
}

TEST(ZvMbox, OpeningForSendingIsForSendingOnly) {
    const Pair pair("/tx");
    char byte[1500];
    EXPECT_EQ(-1, mq_receive(pair.tx.mqd, byte, sizeof byte, nullptr));
    EXPECT_EQ(EBADF, errno);
}

TEST(ZvMbox, OpenFailuresAreReportedUnderEveryCombinationOfBits) {
    const std::string tx = "[   zvMbox_txopen:  76] mbox=/none errno=No such file or directory\n";
    const std::string rx = "[zvMbox_rxopen_ext:  58] mbox=noslash errno=Invalid argument\n";
    const std::string both = std::string("@").append(tx).append("@").append(rx);
    for (const std::uint32_t file : {0U, toFile}) {
        for (const std::uint32_t out : {0U, toStdout}) {
            const Reported all = reported(atMailbox | file | out, [] {
                zvMbox_attr box;
                EXPECT_EQ(-1, zvMbox_txopen("/none", &box));
                EXPECT_EQ(-1, zvMbox_rxopen("noslash", 2, &box));
            });
            EXPECT_EQ(0, all.ended.status);
            ASSERT_EQ((Texts{tx, rx}), texts(all));
            EXPECT_EQ(7, all.lines[0].priority);
            EXPECT_EQ(1, all.lines[0].facility);
            EXPECT_THAT(all.ended.err, HasSubstr(tx));
            EXPECT_THAT(all.ended.err, HasSubstr(rx));
            EXPECT_EQ(out != 0 ? both : "", withoutTimes(all.ended.out));
            EXPECT_EQ(file != 0 ? both : "(no file)", withoutTimes(all.file));
        }
    }
}

TEST(ZvMbox, OpenFailureIsReportedWholeHoweverLongTheName) {
    // Where prefix, name and error text together have 1022 to 1025 characters, and far beyond.
    for (const std::size_t length : {965U, 966U, 967U, 968U, 5000U}) {
        const std::string name = "/" + std::string(length, 'n');
        const std::string tx = "[   zvMbox_txopen:  76] mbox=" + name + " errno=File name too long\n";
        const Reported all = reported(atMailbox | toFile | toStdout, [&name] {
            zvMbox_attr box;
            EXPECT_EQ(-1, zvMbox_txopen(name.c_str(), &box));
            EXPECT_EQ(ENAMETOOLONG, errno);
            EXPECT_EQ(-1, zvMbox_txopen("/none", &box));
        });
        const std::string none = "[   zvMbox_txopen:  76] mbox=/none errno=No such file or directory\n";
        const std::string both = std::string("@").append(tx).append("@").append(none);
        EXPECT_EQ(0, all.ended.status);
        EXPECT_EQ((Texts{tx, none}), texts(all));
        EXPECT_THAT(all.ended.err, HasSubstr(tx));
        EXPECT_EQ(both, withoutTimes(all.ended.out));
        EXPECT_EQ(both, withoutTimes(all.file));
    }
}

TEST(ZvMbox, OpenFailuresAreSilentBelowVerbosity16) {
    const Reported all = reported(15 | toFile | toStdout, [] {
        zvMbox_attr box;
        EXPECT_EQ(-1, zvMbox_txopen("/none", &box));
        EXPECT_EQ(-1, zvMbox_rxopen("noslash", 2, &box));
    });
    EXPECT_EQ(0, all.ended.status);
    EXPECT_EQ(Texts{}, texts(all));
    EXPECT_EQ("", all.ended.out);
    EXPECT_EQ("", all.ended.err);
    EXPECT_EQ("(no file)", all.file);
}

TEST(ZvMbox, CreatingGives0EvenWhenItFails) {
    EXPECT_EQ(0, zvMbox_create_ext("/made", 3, 600));
    EXPECT_EQ(0, zvMbox_create("/plain", 4));
    zvMbox_attr box;
    ASSERT_EQ(0, zvMbox_txopen("/made", &box));
    EXPECT_EQ(3, attributesOf(box).mq_maxmsg);
    EXPECT_EQ(600, attributesOf(box).mq_msgsize);
    ASSERT_EQ(0, zvMbox_txopen("/plain", &box));
    EXPECT_EQ(4, attributesOf(box).mq_maxmsg);
    EXPECT_EQ(1500, attributesOf(box).mq_msgsize);
    const Reported all = reported(atMailbox, [] {
        EXPECT_EQ(0, zvMbox_create("noslash", 2));
        EXPECT_EQ(0, zvMbox_create_ext("/toolarge", 2, 1 << 30));
    });
    EXPECT_EQ(0, all.ended.status);
    EXPECT_EQ(2U, all.lines.size());
    EXPECT_FALSE(exists("/dev/mqueue/toolarge"));
}

TEST(ZvMbox, CreatingLeavesNoDescriptorOpen) {
    const int before = dup(0);
    close(before);
    zvMbox_create("/made", 3);
    const int after = dup(0);
    close(after);
    EXPECT_EQ(before, after);
}

TEST(ZvMbox, ClosingGivesWhatTheCloseGave) {
    Pair pair("/close");
    EXPECT_EQ(0, zvMbox_close(&pair.tx));
    EXPECT_EQ(-1, zvMbox_close(&pair.tx));
    zvMbox_attr box;
    zvMbox_init("/never", 2, &box);
    EXPECT_EQ(-1, zvMbox_close(&box));
}

TEST(ZvMbox, UnlinkingAlwaysGives0) {
    EXPECT_EQ(0, zvMbox_create("/gone", 2));
    EXPECT_EQ(0, zvMbox_unlink("/gone"));
    EXPECT_FALSE(exists("/dev/mqueue/gone"));
    EXPECT_EQ(0, zvMbox_unlink("/gone"));
    EXPECT_EQ(0, zvMbox_unlink("noslash"));
}

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
    EXPECT_EQ(-1, zvMbox_send("x", -1, &box));
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

TEST(ZvMbox, BlockingReceiveWaitsForAMessage) {
    Pair pair("/box");
    std::fflush(nullptr);
    const pid_t peer = fork();
    if (peer == 0) {
        usleep(200000);
        zvMbox_send("late", 4, &pair.tx);
        _exit(0);
    }
    const auto start = std::chrono::steady_clock::now();
    char text[1500];
    EXPECT_EQ(4, snzvMbox_receive(text, sizeof text, &pair.rx));
    EXPECT_GE(secondsSince(start), 0.15);
    EXPECT_EQ("late", std::string(text, 4));
    waitpid(peer, nullptr, 0);
}

TEST(ZvMbox, FailedBlockingReceiveEndsTheProcess) {
    Pair pair("/box");
    const Reported small = reported(8, [&] {
        char text[1499];
        snzvMbox_receive(text, sizeof text, &pair.rx);
    });
    EXPECT_EQ(255, small.ended.status);
    EXPECT_EQ(Texts{notReceived}, texts(small));
    const Reported unopened = reported(7, [] {
        zvMbox_attr box;
        zvMbox_init("/never", 2, &box);
        char text[1500];
        snzvMbox_receive(text, sizeof text, &box);
    });
    EXPECT_EQ(255, unopened.ended.status);
    EXPECT_EQ(Texts{}, texts(unopened));
}

TEST(ZvMbox, SignalThatInterruptsABlockingReceiveEndsTheProcess) {
    Pair pair("/box");
    const auto receive = [&pair] {
        interruptFromNowOn();
        char text[1500];
        snzvMbox_receive(text, sizeof text, &pair.rx);
    };
    const Reported all = reported(8, receive);
    EXPECT_EQ(255, all.ended.status);
    EXPECT_EQ(Texts{notReceived}, texts(all));
    const Reported silent = reported(7, receive);
    EXPECT_EQ(255, silent.ended.status);
    EXPECT_EQ(Texts{}, texts(silent));
}

TEST(ZvMbox, SignalThatInterruptsATimedReceiveGivesMinus2AndStaysSilent) {
    Pair pair("/box");
    const Reported all = reported(0xFF, [&pair] {
        interruptFromNowOn();
        g_timedreceive = 30;
        char text[1500];
        EXPECT_EQ(-2, snzvMbox_timedreceive(text, sizeof text, &pair.rx));
        EXPECT_EQ(EINTR, errno);
    });
    EXPECT_EQ(0, all.ended.status);
    EXPECT_EQ(Texts{}, texts(all));
    EXPECT_EQ("", all.ended.err);
}

TEST(ZvMbox, TimedReceiveGivesAWaitingMessageAtOnce) {
    Pair pair("/box");
    zvMbox_send("here", 4, &pair.tx);
    zvMbox_send("", 0, &pair.tx);
    char text[1500];
    g_timedreceive = 0;
    EXPECT_EQ(4, snzvMbox_timedreceive(text, sizeof text, &pair.rx));
    EXPECT_EQ("here", std::string(text, 4));
    EXPECT_EQ(0, snzvMbox_timedreceive(text, sizeof text, &pair.rx)); // an empty message is one, too
}

TEST(ZvMbox, TimedReceiveGivesMinus1AfterItsSeconds) {
    Pair pair("/box");
    SyslogCapture log;
    char text[1500];
    for (const int seconds : {1, 2}) {
        g_timedreceive = seconds;
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(-1, snzvMbox_timedreceive(text, sizeof text, &pair.rx));
        EXPECT_GE(secondsSince(start), seconds - 0.01);
        EXPECT_LT(secondsSince(start), seconds + 10); // not for ever, on however busy a machine
    }
    for (const int seconds : {0, -5}) {
        g_timedreceive = seconds;
        EXPECT_EQ(-1, snzvMbox_timedreceive(text, sizeof text, &pair.rx));
    }
    EXPECT_TRUE(log.take().empty());
}

TEST(ZvMbox, TimedReceiveGivesMinus2OnOtherFailuresAndStaysSilent) {
    Pair pair("/box");
    const Reported all = reported(0xFF, [&] {
        char text[1500];
        EXPECT_EQ(-2, snzvMbox_timedreceive(text, 1499, &pair.rx)); // too small for the queue's messages
        EXPECT_EQ(-2, snzvMbox_timedreceive(text, 1500, &pair.tx)); // opened for sending
        zvMbox_attr box;
        zvMbox_init("/never", 2, &box);
        EXPECT_EQ(-2, snzvMbox_timedreceive(text, 1500, &box));
    });
    EXPECT_EQ(0, all.ended.status);
    EXPECT_EQ(Texts{}, texts(all));
    EXPECT_EQ("", all.ended.err);
}
