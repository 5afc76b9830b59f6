#include "ControlClient.h"

#include "zvErrno.h"

#include "ScriptedControl.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/time.h>

using namespace zvcontrol;
using zvtest::Packet;
using zvtest::ScriptedControl;

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* path = "/tmp/peer.sock";
constexpr int limitMs = 300;
constexpr Endpoint endpoint{path, limitMs};

// The result of an exchange and the milliseconds that it took.
struct Timed {
    int result;
    std::int64_t milliseconds;
};

Timed timedOpen() {
    const auto start = Clock::now();
    const int result = request(Operation::Open, 0, endpoint);
    return {result, std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count()};
}

std::size_t openDescriptors() {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        ++count;
    }
    return count;
}

} // namespace

TEST(ControlClient, AnAbsentPeerFailsAtOnce) {
    const Timed timed = timedOpen();
    EXPECT_EQ(ZV_ERR, timed.result);
    EXPECT_LT(timed.milliseconds, limitMs);
}

TEST(ControlClient, APeerThatIsGoneFailsAtOnce) {
    close(zvtest::listenSeqpacket(path, 1)); // the file stays
    const Timed timed = timedOpen();
    EXPECT_EQ(ZV_ERR, timed.result);
    EXPECT_LT(timed.milliseconds, limitMs);
}

TEST(ControlClient, APeerThatDoesNotAnswerFailsAfterTheLimit) {
    const int listener = zvtest::listenSeqpacket(path, 4); // connects, and nobody accepts
    const Timed timed = timedOpen();
    EXPECT_EQ(ZV_ERR, timed.result);
    EXPECT_GE(timed.milliseconds, limitMs - 1);
    EXPECT_LT(timed.milliseconds, limitMs + 2000);
    close(listener);
}

TEST(ControlClient, APeerWithAFullQueueFailsAfterTheLimit) {
    const int listener = zvtest::listenSeqpacket(path, 0);
    const sockaddr_un address = zvtest::unixAddress(path);
    std::vector<int> waiting;
    for (;;) {
        waiting.push_back(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0));
        if (connect(waiting.back(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            ASSERT_EQ(EAGAIN, errno);
            break;
        }
    }
    const Timed timed = timedOpen();
    EXPECT_EQ(ZV_ERR, timed.result);
    EXPECT_GE(timed.milliseconds, limitMs - 1);
    EXPECT_LT(timed.milliseconds, limitMs + 2000);
    for (const int fd : waiting) {
        close(fd);
    }
    close(listener);
}

TEST(ControlClient, SignalsDoNotLengthenTheLimit) {
    struct sigaction action {};
    action.sa_handler = [](int) {}; // without SA_RESTART: every wait is interrupted
    sigaction(SIGALRM, &action, nullptr);
    const itimerval often{{0, 10000}, {0, 10000}};
    setitimer(ITIMER_REAL, &often, nullptr);
    const int listener = zvtest::listenSeqpacket(path, 4);
    const Timed timed = timedOpen();
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_EQ(ZV_ERR, timed.result);
    EXPECT_GE(timed.milliseconds, limitMs - 1);
    EXPECT_LT(timed.milliseconds, limitMs + 2000);
    close(listener);
}

TEST(ControlClient, APeerThatClosesWithoutAnAnswerFailsAtOnce) {
    const ScriptedControl peer([](const Packet&) { return std::nullopt; }, path);
    const Timed timed = timedOpen();
    EXPECT_EQ(ZV_ERR, timed.result);
    EXPECT_LT(timed.milliseconds, limitMs);
}

TEST(ControlClient, WhatIsNoAnswerFails) {
    Packet answer;
    const ScriptedControl peer([&](const Packet&) { return answer; }, path);
    for (const Packet& wrong :
         {Packet{'Z'}, Packet{'Z', 'C', 1, 0, 0, 0, 0, 0}, Packet{'Z', 'A', 2, 0, 0, 0, 0, 0},
          Packet{'Z', 'A', 1, 0, 0, 0, 0}, Packet(maxPacket + 1, 'Z'), Packet(60000, 'Z')}) {
        answer = wrong;
        EXPECT_EQ(ZV_ERR, request(Operation::Open, 0, endpoint));
    }
    Packet overlong = {'Z', 'A', 1, 0, 0, 0, 0, 0};
    overlong.resize(maxPacket + 1, 'x'); // its start alone would do
    answer = overlong;
    EXPECT_EQ(ZV_ERR, request(Operation::Open, 0, endpoint));
}

TEST(ControlClient, ThePeersCodeIsTheResult) {
    const ScriptedControl peer([](const Packet&) { return Packet{'Z', 'A', 1, 0, 0xFF, 0xFF, 0xFF, 0xEF}; },
                               path);
    EXPECT_EQ(-17, request(Operation::Open, 0, endpoint));
}

TEST(ControlClient, TakesAnAnswerOfTheGreatestLength) {
    const ScriptedControl peer(
        [](const Packet&) {
            Packet answer{'Z', 'A', 1, 0, 0, 0, 0, 0};
            answer.resize(maxPacket, 'x');
            return answer;
        },
        path);
    Answer answer;
    EXPECT_EQ(0, getState(State::ModelName, answer, endpoint));
    EXPECT_EQ(4096U, answer.length);
    EXPECT_EQ('x', answer.data[4095]);
}

TEST(ControlClient, AnOverlongParameterIsRefusedUnsent) {
    const std::vector<unsigned char> param(4097, 1);
    Answer answer;
    EXPECT_EQ(ZV_ERR_INVALID_PARAM, exchange(Operation::Command, 1, param, answer, endpoint));
}

TEST(ControlClient, AnOverlongPathIsNoPeer) {
    const std::string longPath(200, 'x');
    EXPECT_EQ(ZV_ERR, request(Operation::Open, 0, {longPath.c_str(), limitMs}));
}

TEST(ControlClient, ItemsTravelAsFourBytes) {
    ScriptedControl peer(
        [](const Packet&) { return Packet{'Z', 'A', 1, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFE}; }, path);
    std::int32_t value = 7;
    EXPECT_EQ(0, getItem(54, value, endpoint));
    EXPECT_EQ(-2, value);
    EXPECT_EQ(0, setItem(3, 0x01020304, endpoint));
    EXPECT_EQ((std::vector<Packet>{{'Z', 'C', 1, 5, 0, 0, 0, 54}, {'Z', 'C', 1, 6, 0, 0, 0, 3, 1, 2, 3, 4}}),
              peer.requests());
}

TEST(ControlClient, AnItemOfAnotherLengthFailsAndLeavesTheValue) {
    const ScriptedControl peer([](const Packet&) { return Packet{'Z', 'A', 1, 0, 0, 0, 0, 0, 1, 2, 3}; },
                               path);
    std::int32_t value = 7;
    EXPECT_EQ(ZV_ERR, getItem(54, value, endpoint));
    EXPECT_EQ(7, value);
}

TEST(ControlClient, LeavesNoDescriptorBehind) {
    const std::size_t before = openDescriptors();
    for (int i = 0; i < 10; ++i) {
        request(Operation::Open, 0, endpoint);
    }
    {
        const ScriptedControl peer(zvtest::sayYes, path);
        for (int i = 0; i < 10; ++i) {
            EXPECT_EQ(0, request(Operation::Open, 0, endpoint));
        }
    }
    EXPECT_EQ(before, openDescriptors());
}

TEST(ControlClient, TheLimitIsFiveSeconds) {
    EXPECT_EQ(5000, Endpoint{}.timeoutMs);
    EXPECT_STREQ("/run/zarvo/zvControlD.sock", Endpoint{}.path);
}
