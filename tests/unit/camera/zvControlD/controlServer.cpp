#include "controlServer.h"

#include "unixSocket.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <vector>

using namespace zvcamera;
using std::chrono::milliseconds;

namespace {

constexpr const char* path = "/tmp/server.sock";

void runFor(EventLoop& loop, milliseconds time) {
    for (const auto end = EventLoop::Clock::now() + time; EventLoop::Clock::now() < end;) {
        loop.runOnce(milliseconds(5));
    }
}

} // namespace

TEST(ControlServer, AConnectionThatAsksNothingIsClosedInTime) {
    EventLoop loop;
    const ControlServer server(
        loop, path, [](const zvcontrol::Request&, pid_t) { return ControlAnswer{}; }, milliseconds(500));
    const zv::UniqueFd silent = connectUnix(path, SOCK_SEQPACKET);
    runFor(loop, milliseconds(20));
    EXPECT_EQ(1U, server.clients());
    runFor(loop, milliseconds(1000));
    EXPECT_EQ(0U, server.clients());
    char byte = 0;
    EXPECT_EQ(0, recv(silent.get(), &byte, 1, MSG_DONTWAIT));
}

namespace {

constexpr unsigned char packet38[] = {'Z', 'C', 1, 3, 0, 0, 0, 38};

// Asks, and gives the number that the answer carries; -1 when there is none.
int askOn(const zv::UniqueFd& client, EventLoop& loop) {
    send(client.get(), packet38, sizeof packet38, MSG_NOSIGNAL);
    unsigned char answer[16];
    ssize_t length = -1;
    for (int i = 0; i < 1000 && length < 0; ++i) {
        loop.runOnce(milliseconds(5));
        length = recv(client.get(), answer, sizeof answer, MSG_DONTWAIT);
    }
    return length == 8 ? answer[7] : -1;
}

} // namespace

TEST(ControlServer, AConnectionCarriesManyRequests) {
    EventLoop loop;
    const ControlServer server(loop, path, [](const zvcontrol::Request& request, pid_t) {
        return ControlAnswer{request.number, {}};
    });
    const zv::UniqueFd client = connectUnix(path, SOCK_SEQPACKET);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(38, askOn(client, loop));
    }
    EXPECT_EQ(1U, server.clients());
}

TEST(ControlServer, AConnectionThatAsksNoMoreIsClosedInTime) {
    EventLoop loop;
    const ControlServer server(
        loop, path,
        [](const zvcontrol::Request& request, pid_t) {
            return ControlAnswer{request.number, {}};
        },
        milliseconds(500));
    const zv::UniqueFd client = connectUnix(path, SOCK_SEQPACKET);
    runFor(loop, milliseconds(300));
    EXPECT_EQ(38, askOn(client, loop)); // the time starts again
    runFor(loop, milliseconds(300));
    EXPECT_EQ(1U, server.clients());
    runFor(loop, milliseconds(600));
    EXPECT_EQ(0U, server.clients());
}

TEST(ControlServer, TheClientThatHasBeenSilentLongestGivesWay) {
    EventLoop loop;
    const ControlServer server(loop, path, [](const zvcontrol::Request& request, pid_t) {
        return ControlAnswer{request.number, {}};
    });
    std::vector<zv::UniqueFd> clients;
    for (std::size_t i = 0; i < ControlServer::clientLimit; ++i) {
        clients.push_back(connectUnix(path, SOCK_SEQPACKET));
        loop.runOnce(milliseconds(5));
    }
    EXPECT_EQ(38, askOn(clients[0], loop));
    const zv::UniqueFd late = connectUnix(path, SOCK_SEQPACKET);
    EXPECT_EQ(38, askOn(late, loop));
    EXPECT_EQ(38, askOn(clients[0], loop));
    EXPECT_EQ(-1, askOn(clients[1], loop));
    EXPECT_EQ(38, askOn(clients[2], loop));
}

TEST(ControlServer, AMalformedRequestEndsItsConnection) {
    EventLoop loop;
    const ControlServer server(loop, path, [](const zvcontrol::Request&, pid_t) { return ControlAnswer{}; });
    const zv::UniqueFd client = connectUnix(path, SOCK_SEQPACKET);
    EXPECT_EQ(0, askOn(client, loop));
    send(client.get(), "ZC", 2, 0);
    runFor(loop, milliseconds(30));
    EXPECT_EQ(0U, server.clients());
    EXPECT_EQ(-1, send(client.get(), packet38, sizeof packet38, MSG_NOSIGNAL));
}

TEST(ControlServer, AClientThatTakesNoAnswersIsCutOff) {
    EventLoop loop;
    const ControlServer server(loop, path, [](const zvcontrol::Request&, pid_t) {
        return ControlAnswer{0, std::vector<unsigned char>(4096, 'x')};
    });
    const zv::UniqueFd client = connectUnix(path, SOCK_SEQPACKET);
    for (int i = 0; i < 10000 && send(client.get(), packet38, sizeof packet38, MSG_NOSIGNAL) > 0; ++i) {
        loop.runOnce(milliseconds(5));
    }
    EXPECT_EQ(0U, server.clients());
}

TEST(ControlServer, AnAnswerThatIsTooLongBecomesAFailure) {
    EventLoop loop;
    const ControlServer server(loop, path, [](const zvcontrol::Request&, pid_t) {
        return ControlAnswer{0, std::vector<unsigned char>(4097, 'x')};
    });
    const zv::UniqueFd client = connectUnix(path, SOCK_SEQPACKET);
    const unsigned char packet[] = {'Z', 'C', 1, 1, 0, 0, 0, 0};
    send(client.get(), packet, sizeof packet, 0);
    runFor(loop, milliseconds(30));
    unsigned char answer[16];
    ASSERT_EQ(8, recv(client.get(), answer, sizeof answer, MSG_DONTWAIT));
    EXPECT_EQ(0xFF, answer[7]);
}

TEST(ControlServer, TheSocketGoesWithTheServer) {
    EventLoop loop;
    {
        const ControlServer server(loop, path, [](const zvcontrol::Request&, pid_t) { return ControlAnswer{}; });
        EXPECT_EQ(0, access(path, F_OK));
    }
    EXPECT_NE(0, access(path, F_OK));
}

TEST(ControlServer, TellsWhoAsks) {
    EventLoop loop;
    const ControlServer server(loop, path, [](const zvcontrol::Request&, pid_t peer) {
        return ControlAnswer{peer, {}};
    });
    const zv::UniqueFd client = connectUnix(path, SOCK_SEQPACKET);
    EXPECT_EQ(getpid() & 0xff, askOn(client, loop));
}
