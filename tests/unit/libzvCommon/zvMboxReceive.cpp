// Receiving from a mailbox, with and without a limit of time.
#include "mailboxPair.h"
#include "reports.h"
#include "zvMbox.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <gtest/gtest.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace zvtest;

namespace {

constexpr const char* notReceived = "\033[31mASSERT:libzvCommon/src/zvMbox/snzvMbox_receive:124:(len = "
                                    "mq_receive(zvattr->mqd, buf, size, NULL)) "
                                    ">= 0\n\033[0m";

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
