#include "ControlServer.h"

#include "UnixSocket.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

using namespace zvcam;
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
        loop, path, [](const zvcontrol::Request&) { return ControlAnswer{}; }, milliseconds(500));
    const UniqueFd silent = connectUnix(path, SOCK_SEQPACKET);
    runFor(loop, milliseconds(20));
    EXPECT_EQ(1U, server.clients());
    runFor(loop, milliseconds(1000));
    EXPECT_EQ(0U, server.clients());
    char byte = 0;
    EXPECT_EQ(0, recv(silent.get(), &byte, 1, MSG_DONTWAIT));
}

TEST(ControlServer, OneRequestAConnection) {
    EventLoop loop;
    int asked = 0;
    const ControlServer server(loop, path, [&](const zvcontrol::Request& request) {
        ++asked;
        return ControlAnswer{request.number, {}};
    });
    const UniqueFd client = connectUnix(path, SOCK_SEQPACKET);
    const unsigned char packet[] = {'Z', 'C', 1, 3, 0, 0, 0, 38};
    send(client.get(), packet, sizeof packet, 0);
    runFor(loop, milliseconds(30));
    unsigned char answer[16];
    ASSERT_EQ(8, recv(client.get(), answer, sizeof answer, MSG_DONTWAIT));
    EXPECT_EQ(38, answer[7]);
    EXPECT_EQ(-1, send(client.get(), packet, sizeof packet, MSG_NOSIGNAL));
    EXPECT_EQ(1, asked);
    EXPECT_EQ(0U, server.clients());
}

TEST(ControlServer, AnAnswerThatIsTooLongBecomesAFailure) {
    EventLoop loop;
    const ControlServer server(loop, path, [](const zvcontrol::Request&) {
        return ControlAnswer{0, std::vector<unsigned char>(4097, 'x')};
    });
    const UniqueFd client = connectUnix(path, SOCK_SEQPACKET);
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
        const ControlServer server(loop, path, [](const zvcontrol::Request&) { return ControlAnswer{}; });
        EXPECT_EQ(0, access(path, F_OK));
    }
    EXPECT_NE(0, access(path, F_OK));
}
