// How a request that is not accepted ends, for every command that goes over the link.
#include "commands.h"

#include <chrono>
#include <cstdint>
#include <thread>

using testing::IsEmpty;

namespace {

class EveryCommand : public BleTest {
protected:
    explicit EveryCommand(long peersMessageSize = QueuePeer::usualMessageSize) : BleTest(peersMessageSize) {}

    // The command fails with these lines of the link and its own line behind them.
    void expectFailure(const Command& command, std::vector<std::string> lines) {
        EXPECT_EQ(-1, call(command.handler, command.query)) << command.failure;
        EXPECT_EQ("untouched", response()) << command.failure;
        lines.emplace_back(command.failure);
        EXPECT_EQ(lines, logged());
    }
    void expectFailures(const std::vector<std::string>& linksLines) {
        for (const Command& command : commands) {
            expectFailure(command, linksLines);
        }
    }
    // Until the peer has taken this many requests from its queue.
    void waitForRequests(std::size_t count) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (peer_.requestCount() < count && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        ASSERT_EQ(count, peer_.requestCount());
    }
    void alwaysReply(const Bytes& reply) {
        peer_.replyWith([reply](const Bytes&) { return std::vector<Bytes>{reply}; });
    }
};

// The link is open, but the network daemon's queue takes no message as long as a request.
class FailingSend : public EveryCommand {
protected:
    FailingSend() : EveryCommand(16) {}
};

} // namespace

TEST_F(EveryCommand, SendsOneRequestOfPriority0AtFirst) {
    alwaysReply(replyOf(1));
    expectFailures({});
    EXPECT_EQ(std::vector<unsigned>(std::size(commands), 0U), peer_.priorities());
}

TEST_F(EveryCommand, FailsOnAReplyOfAnotherCategory) {
    alwaysReply(message(2, element(69, {0, 1})));
    expectFailures({"Message from zvControlD was not CAT_CGI_BP_RSP, actual (2)\n"});
}

TEST_F(EveryCommand, FailsOnAReplyWithoutAResponse) {
    alwaysReply(message(3, element(66, {0, 1})));
    expectFailures({"Expected a typeRSP element from daemon but got none\n"});
}

TEST_F(EveryCommand, FailsOnAnEmptyResponse) {
    alwaysReply(message(3, element(69, {})));
    expectFailures({"ERROR: typeRSP did not contain enough bytes for int8_t (got 0)\n"});
}

TEST_F(EveryCommand, FailsOnAnEmptyMessage) {
    alwaysReply({});
    expectFailures({noReply});
}

TEST_F(EveryCommand, FailsWithoutAReply) {
    peer_.replyWith([](const Bytes&) { return std::vector<Bytes>{}; });
    hurry();
    for (const Command& command : commands) {
        const std::size_t before = peer_.requestCount();
        expectFailure(command, {"Failed error:Connection timed out, timeout\n", noReply});
        // A process that does not wait for its peer would fill the queue, and sending would fail too.
        waitForRequests(before + 1);
    }
}

TEST_F(FailingSend, EndsInTheCategoryFailure) {
    expectFailures({"Failed", ownRequest});
    EXPECT_THAT(peer_.requests(), IsEmpty());
}

TEST_F(EveryCommand, FailsOnAClosedLink) {
    EXPECT_EQ(0, ble_interface_close());
    expectFailures({"Failed, IF not open", ownRequest});
    EXPECT_EQ(0, ble_interface_open());
}
