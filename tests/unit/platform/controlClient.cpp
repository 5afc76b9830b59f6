#include "controlClient.h"

#include "scriptedControl.h"
#include "zvErrno.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/time.h>
#include <sys/wait.h>

using namespace zvcontrol;
using zvtest::Packet;
using zvtest::ScriptedControl;

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* path = "/tmp/peer.sock";
constexpr int limitMs = 300;
// A socket's time limit may end this much too early: the kernel counts it in ticks, 100 a second or more.
constexpr int tickMs = 11;
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
    close(zvtest::listenSeqpacket(path, 1)); // the socket's file stays
    const Timed timed = timedOpen();
    EXPECT_EQ(ZV_ERR, timed.result);
    EXPECT_LT(timed.milliseconds, limitMs);
}

TEST(ControlClient, APeerThatDoesNotAnswerFailsAfterTheLimit) {
    const int listener = zvtest::listenSeqpacket(path, 4); // takes connections, but nobody accepts them
    const Timed timed = timedOpen();
    EXPECT_EQ(ZV_ERR, timed.result);
    EXPECT_GE(timed.milliseconds, limitMs - tickMs);
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
    EXPECT_GE(timed.milliseconds, limitMs - tickMs);
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
    EXPECT_GE(timed.milliseconds, limitMs - tickMs);
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
    for (const Packet& wrong : {Packet{'Z'}, Packet{'Z', 'C', 1, 0, 0, 0, 0, 0}, Packet{'Z', 'A', 2, 0, 0, 0, 0, 0},
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
    const ScriptedControl peer([](const Packet&) { return Packet{'Z', 'A', 1, 0, 0xFF, 0xFF, 0xFF, 0xEF}; }, path);
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
    ScriptedControl peer([](const Packet&) { return Packet{'Z', 'A', 1, 0, 0, 0, 0, 0}; }, path);
    const std::vector<unsigned char> param(4097, 1);
    Answer answer;
    EXPECT_EQ(ZV_ERR_INVALID_PARAM, exchange(Operation::Command, 1, param, answer, endpoint));
    EXPECT_EQ(std::vector<Packet>{}, peer.requests());
}

TEST(ControlClient, AnOverlongPathIsNoPeer) {
    const std::string longPath(200, 'x');
    EXPECT_EQ(ZV_ERR, request(Operation::Open, 0, {longPath.c_str(), limitMs}));
}

TEST(ControlClient, ItemsTravelAsFourBytes) {
    ScriptedControl peer([](const Packet&) { return Packet{'Z', 'A', 1, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFE}; },
                         path);
    std::int32_t value = 7;
    EXPECT_EQ(0, getItem(54, value, endpoint));
    EXPECT_EQ(-2, value);
    EXPECT_EQ(0, setItem(3, 0x01020304, endpoint));
    EXPECT_EQ((std::vector<Packet>{{'Z', 'C', 1, 5, 0, 0, 0, 54}, {'Z', 'C', 1, 6, 0, 0, 0, 3, 1, 2, 3, 4}}),
              peer.requests());
}

TEST(ControlClient, AnItemOfAnotherLengthFailsAndLeavesTheValue) {
    const ScriptedControl peer([](const Packet&) { return Packet{'Z', 'A', 1, 0, 0, 0, 0, 0, 1, 2, 3}; }, path);
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

namespace {

// The number that the request carries comes back as the result.
std::optional<Packet> echo(const Packet& request) {
    return Packet{'Z', 'A', 1, 0, request[4], request[5], request[6], request[7]};
}

constexpr Endpoint daemonsOwn{socketPath, limitMs};

} // namespace

TEST(ControlClient, KeepsTheConnectionToTheDaemon) {
    const ScriptedControl peer(echo, socketPath, true);
    for (int number = 0; number < 5; ++number) {
        EXPECT_EQ(request(Operation::Command, number, daemonsOwn), number);
    }
    EXPECT_EQ(1, peer.connections());
}

TEST(ControlClient, ConnectsAgainToADaemonThatClosesAfterEachAnswer) {
    const ScriptedControl peer(echo, socketPath);
    for (int number = 0; number < 200; ++number) {
        ASSERT_EQ(request(Operation::Command, number, daemonsOwn), number);
    }
    EXPECT_EQ(200, peer.connections());
}

TEST(ControlClient, ConnectsAgainToANewDaemon) {
    for (int number = 0; number < 5; ++number) {
        const ScriptedControl peer(echo, socketPath, true);
        EXPECT_EQ(request(Operation::Command, number, daemonsOwn), number);
    }
    EXPECT_EQ(ZV_ERR, request(Operation::Open, 0, daemonsOwn));
}

TEST(ControlClient, AnAnswerThatCameTooLateIsNotTheNextOnes) {
    const ScriptedControl peer(
        [](const Packet& request) {
            if (request[7] == 1) {
                usleep((limitMs + 200) * 1000);
            }
            return echo(request);
        },
        socketPath, true);
    EXPECT_EQ(0, request(Operation::Command, 0, daemonsOwn));
    EXPECT_EQ(ZV_ERR, request(Operation::Command, 1, daemonsOwn));
    usleep(400 * 1000);
    EXPECT_EQ(2, request(Operation::Command, 2, daemonsOwn));
    EXPECT_EQ(2, peer.connections());
}

TEST(ControlClient, AChildDoesNotUseItsParentsConnection) {
    const ScriptedControl peer(echo, socketPath, true);
    EXPECT_EQ(1, request(Operation::Command, 1, daemonsOwn));
    const pid_t child = fork();
    if (child == 0) {
        _exit(request(Operation::Command, 2, daemonsOwn));
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_EQ(2, WEXITSTATUS(status));
    EXPECT_EQ(3, request(Operation::Command, 3, daemonsOwn));
    EXPECT_EQ(2, peer.connections());
}

TEST(ControlClient, ThreadsGetTheirOwnAnswers) {
    const ScriptedControl peer(echo, socketPath, true);
    std::vector<std::thread> threads;
    std::atomic<int> wrong = 0;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([thread, &wrong] {
            for (int i = 0; i < 500; ++i) {
                wrong += request(Operation::Command, thread * 1000 + i) == thread * 1000 + i ? 0 : 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(0, wrong);
}

TEST(ControlClient, TheLimitIsFiveSeconds) {
    EXPECT_EQ(5000, Endpoint{}.timeoutMs);
    EXPECT_STREQ("/run/zarvo/zvControlD.sock", Endpoint{}.path);
}
