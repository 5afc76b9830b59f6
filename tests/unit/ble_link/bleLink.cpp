#include "bleLink.h"

#include "bleTest.h"

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

bool queueExists(const std::string& name) {
    const mqd_t queue = mq_open(name.c_str(), O_RDONLY);
    if (queue < 0) {
        EXPECT_EQ(ENOENT, errno);
        return false;
    }
    mq_close(queue);
    return true;
}

// A closed link, with a peer when a test asks for one.
class Link : public testing::Test {
protected:
    Link() { g_logLevel = UTIL_LOG_INFO; }
    ~Link() override {
        faults::disarm();
        faults::failingAllocation = 0;
        faults::unopenableQueue.clear();
        faults::unclosableQueue.clear();
        faults::unlinkFails = false;
        faults::clockOffset = 0;
    }

    void havePeer() { peer_ = std::make_unique<QueuePeer>(); }

    // Opens or closes with everything counted.
    static int watchedOpen() {
        faults::arm();
        const int result = ble_interface_open();
        faults::disarm();
        return result;
    }
    static int watchedClose() {
        faults::arm();
        const int result = ble_interface_close();
        faults::disarm();
        return result;
    }

    std::vector<std::string> logged() { return linesOf(log_); }

    void expectClosed() {
        EXPECT_FALSE(queueExists(replyQueue_));
        std::uint8_t byte = 0;
        EXPECT_EQ(-1, ble_send(&byte, 1));
        EXPECT_THAT(logged(), ElementsAre("Failed, IF not open"));
        EXPECT_EQ(0, ble_interface_close());
        EXPECT_THAT(logged(), IsEmpty());
    }

    SyslogCapture log_;
    std::unique_ptr<QueuePeer> peer_;
    const std::string replyQueue_ = "/to_ZVCC" + std::to_string(getpid());
};

class OpenLink : public BleTest {};

} // namespace

TEST_F(Link, OpeningCreatesTheReplyQueueAndOpensTheNetworkDaemons) {
    havePeer();
    EXPECT_EQ(0, watchedOpen());
    ASSERT_EQ(2U, faults::opens.size());
    EXPECT_EQ(replyQueue_, faults::opens[0].name);
    EXPECT_EQ(O_RDONLY | O_CREAT, faults::opens[0].flags);
    EXPECT_EQ(0664U, faults::opens[0].mode);
    EXPECT_EQ(0, faults::opens[0].attributes.mq_flags);
    EXPECT_EQ(2, faults::opens[0].attributes.mq_maxmsg);
    EXPECT_EQ(1500, faults::opens[0].attributes.mq_msgsize);
    EXPECT_EQ(0, faults::opens[0].attributes.mq_curmsgs);
    EXPECT_EQ("/to_zvnet", faults::opens[1].name);
    EXPECT_EQ(O_WRONLY, faults::opens[1].flags);
    EXPECT_THAT(faults::unlinks, ElementsAre(replyQueue_));
    ASSERT_EQ(3U, faults::allocations.size());
    EXPECT_EQ(129U, faults::allocations[2]);
    EXPECT_TRUE(queueExists(replyQueue_));

    EXPECT_EQ(0, watchedClose());
    EXPECT_EQ(2, faults::closes);
    EXPECT_THAT(faults::unlinks, ElementsAre(replyQueue_));
    EXPECT_EQ(0U, faults::unfreed());
    EXPECT_THAT(logged(), IsEmpty());
    EXPECT_TRUE(queueExists("/to_zvnet"));
    expectClosed();
}

TEST_F(Link, OpeningRemovesAQueueLeftBehindByTheSameProcessId) {
    havePeer();
    mq_attr attributes{};
    attributes.mq_maxmsg = 5;
    attributes.mq_msgsize = 10;
    const mqd_t left = mq_open(replyQueue_.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0600, &attributes);
    ASSERT_LE(0, left);
    ASSERT_EQ(0, mq_send(left, "stale", 5, 0));
    mq_close(left);

    EXPECT_EQ(0, ble_interface_open());
    const mqd_t queue = mq_open(replyQueue_.c_str(), O_RDONLY);
    ASSERT_EQ(0, mq_getattr(queue, &attributes));
    mq_close(queue);
    EXPECT_EQ(2, attributes.mq_maxmsg);
    EXPECT_EQ(1500, attributes.mq_msgsize);
    EXPECT_EQ(0, attributes.mq_curmsgs);
    EXPECT_EQ(0, ble_interface_close());
}

TEST_F(Link, OpeningTwiceLeavesTheOpenLinkAlone) {
    havePeer();
    ASSERT_EQ(0, ble_interface_open());
    EXPECT_EQ(-1, watchedOpen());
    EXPECT_THAT(logged(), ElementsAre("Interface already open"));
    EXPECT_THAT(faults::opens, IsEmpty());
    EXPECT_THAT(faults::unlinks, IsEmpty());

    peer_->reply({1, 2, 3});
    std::uint16_t length = 1500;
    const std::uint8_t request = 7;
    EXPECT_EQ(0, ble_send_receive(&request, 1, &length));
    EXPECT_EQ(3, length);
    EXPECT_EQ(0, ble_interface_close());
}

TEST_F(Link, OpeningWithoutMemoryForARecord) {
    havePeer();
    for (const int number : {1, 2}) {
        faults::failingAllocation = number;
        EXPECT_EQ(-2, watchedOpen());
        EXPECT_THAT(logged(), ElementsAre("Failed to allocate memory"));
        EXPECT_EQ(static_cast<std::size_t>(number), faults::allocations.size());
        EXPECT_THAT(faults::opens, IsEmpty());
        EXPECT_THAT(faults::unlinks, IsEmpty());
        EXPECT_EQ(0, faults::closes);
        EXPECT_EQ(0U, faults::unfreed());
        expectClosed();
    }
}

TEST_F(Link, OpeningWithoutMemoryForTheReplyQueuesName) {
    havePeer();
    faults::failingAllocation = 3;
    EXPECT_EQ(-2, watchedOpen());
    EXPECT_THAT(logged(), ElementsAre("Unable to allocate memory"));
    EXPECT_THAT(faults::opens, IsEmpty());
    EXPECT_EQ(0U, faults::unfreed());
    expectClosed();
}

TEST_F(Link, ReplyQueueThatCannotBeCreatedKeepsItsName) {
    havePeer();
    faults::unopenableQueue = replyQueue_;
    EXPECT_EQ(-1, watchedOpen());
    EXPECT_THAT(logged(), ElementsAre("Failed to create rx queue"));
    EXPECT_EQ(1U, faults::opens.size());
    EXPECT_THAT(faults::unlinks, ElementsAre(replyQueue_)); // by the opening, before it creates the queue
    EXPECT_EQ(0, faults::closes);
    EXPECT_EQ(1U, faults::unfreed());
    faults::freeUnfreed();
    expectClosed();
}

TEST_F(Link, AbsentNetworkDaemonTakesTheReplyQueueAwayAgain) {
    EXPECT_EQ(-1, watchedOpen());
    EXPECT_THAT(logged(), ElementsAre("Failed to create tx queue"));
    EXPECT_THAT(faults::unlinks, ElementsAre(replyQueue_, replyQueue_));
    EXPECT_EQ(1, faults::closes);
    EXPECT_EQ(0U, faults::unfreed());
    expectClosed();
}

TEST_F(Link, FailedOpeningCanBeRepeated) {
    EXPECT_EQ(-1, ble_interface_open());
    havePeer();
    EXPECT_EQ(0, ble_interface_open());
    EXPECT_EQ(0, ble_interface_close());
}

TEST_F(Link, ClosingAClosedLinkIsNothing) {
    EXPECT_EQ(0, ble_interface_close());
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(Link, FailureToCloseTheRequestQueueIsLogged) {
    havePeer();
    faults::unclosableQueue = "/to_zvnet";
    EXPECT_EQ(0, watchedOpen());
    EXPECT_EQ(0, watchedClose()); // the unlinking of the reply queue has the last word
    EXPECT_THAT(logged(), ElementsAre("Failed to close tx message queue"));
    EXPECT_EQ(0U, faults::unfreed());
    expectClosed();
}

TEST_F(Link, FailureToCloseTheReplyQueueIsLoggedAndNotReflected) {
    havePeer();
    faults::unclosableQueue = replyQueue_;
    EXPECT_EQ(0, watchedOpen());
    EXPECT_EQ(0, watchedClose());
    EXPECT_THAT(logged(), ElementsAre("Failed to close rx message queue"));
    EXPECT_EQ(0U, faults::unfreed());
    expectClosed();
}

TEST_F(Link, FailureToUnlinkTheReplyQueueIsTheResult) {
    havePeer();
    EXPECT_EQ(0, watchedOpen());
    faults::unlinkFails = true;
    EXPECT_EQ(-1, watchedClose());
    faults::unlinkFails = false;
    EXPECT_THAT(logged(), ElementsAre("Failed to unlink rx queue"));
    EXPECT_EQ(0U, faults::unfreed());
    expectClosed();
}

TEST_F(Link, FailuresAreErrorsOfCommandBle) {
    ble_interface_open();
    const auto lines = log_.take();
    ASSERT_EQ(1U, lines.size());
    EXPECT_EQ(3, lines[0].priority);
    EXPECT_THAT(lines[0].text, testing::MatchesRegex("UTIL_LOG_ERROR:Failed to create tx queue @command_ble:[0-9]+"));
}

TEST_F(Link, NothingIsLoggedBelowTheErrorLevel) {
    g_logLevel = UTIL_LOG_FATAL;
    EXPECT_EQ(-1, ble_interface_open());
    EXPECT_EQ(-3, ble_send(nullptr, 0));
    EXPECT_THAT(logged(), IsEmpty());
    g_logLevel = UTIL_LOG_ERROR;
    EXPECT_EQ(-1, ble_interface_open());
    EXPECT_THAT(logged(), ElementsAre("Failed to create tx queue"));
}

TEST_F(Link, SendingOnAClosedLink) {
    const std::uint8_t byte = 0;
    std::uint16_t length = 1500;
    EXPECT_EQ(-1, ble_send(&byte, 1));
    EXPECT_EQ(-1, ble_send_receive(&byte, 1, &length));
    EXPECT_EQ(-1, ble_send_receive_into(&byte, 1, ble_msg_buffer, &length));
    EXPECT_EQ(1500, length);
    EXPECT_THAT(logged(), ElementsAre("Failed, IF not open", "Failed, IF not open", "Failed, IF not open"));
}

TEST_F(Link, ReceivingOnAClosedLinkHasAResultOfItsOwn) {
    std::uint16_t length = 1500;
    EXPECT_EQ(-3, ble_receive(ble_msg_buffer, &length));
    EXPECT_EQ(1500, length);
    EXPECT_THAT(logged(), ElementsAre("Failed, IF not open"));
}

TEST_F(Link, NullIsRefusedBeforeTheLinkIsLookedAt) {
    std::uint16_t length = 1500;
    EXPECT_EQ(-3, ble_send(nullptr, 1));
    EXPECT_EQ(-3, ble_receive(nullptr, &length));
    EXPECT_THAT(logged(), ElementsAre("Failed, invalid parameters", "Failed, invalid parameters"));
}

TEST_F(Link, FullQueueIsGivenUpAtTheTimeLimit) {
    mq_attr attributes{};
    attributes.mq_maxmsg = 1;
    attributes.mq_msgsize = 2048;
    mq_unlink("/to_zvnet");
    const mqd_t queue = mq_open("/to_zvnet", O_RDWR | O_CREAT | O_EXCL, 0600, &attributes);
    ASSERT_LE(0, queue);
    ASSERT_EQ(0, ble_interface_open());
    const std::uint8_t byte = 1;
    EXPECT_EQ(0, ble_send(&byte, 1));
    faults::clockOffset = -14; // leaves 1 of the 15 seconds
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(-1, ble_send(&byte, 1));
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_LE(std::chrono::milliseconds(900), waited);
    EXPECT_GE(std::chrono::seconds(10), waited);
    EXPECT_THAT(logged(), ElementsAre("Failed"));
    EXPECT_EQ(0, ble_interface_close());
    mq_close(queue);
    mq_unlink("/to_zvnet");
}

TEST_F(OpenLink, SentBytesReachTheNetworkDaemonAsTheyAre) {
    peer_.reply({4, 5});
    const std::uint8_t request[] = {1, 0, 255};
    EXPECT_EQ(0, ble_send(request, sizeof request));
    std::uint8_t reply[1500];
    std::uint16_t length = sizeof reply;
    EXPECT_EQ(0, ble_receive(reply, &length));
    EXPECT_EQ(2, length);
    EXPECT_THAT(peer_.requests(), ElementsAre(Bytes{1, 0, 255}));
    EXPECT_THAT(peer_.priorities(), ElementsAre(0U));
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(OpenLink, ReplyCanBeReceivedElsewhere) {
    peer_.reply({4, 5, 6});
    const std::uint8_t request = 1;
    std::uint8_t reply[1500];
    std::uint16_t length = sizeof reply;
    EXPECT_EQ(0, ble_send_receive_into(&request, 1, reply, &length));
    EXPECT_EQ((Bytes{4, 5, 6}), Bytes(reply, reply + length));
}

TEST_F(OpenLink, RepliesOfEverySizeArrive) {
    const std::uint8_t request = 1;
    for (std::size_t size = 0; size <= 1500; ++size) {
        const Bytes sentReply(size, static_cast<std::uint8_t>(size));
        peer_.reply(sentReply);
        std::uint16_t length = 1500;
        ASSERT_EQ(0, ble_send_receive(&request, 1, &length));
        ASSERT_EQ(Bytes(ble_msg_buffer, ble_msg_buffer + length), sentReply);
    }
}

TEST_F(OpenLink, MessageThatTheQueueDoesNotTake) {
    const Bytes tooLong(2049);
    std::uint16_t length = 1500;
    EXPECT_EQ(-1, ble_send(tooLong.data(), 2049));
    EXPECT_EQ(-1, ble_send_receive(tooLong.data(), 2049, &length));
    EXPECT_EQ(1500, length);
    EXPECT_THAT(logged(), ElementsAre("Failed", "Failed"));
    EXPECT_THAT(peer_.requests(), IsEmpty());
}

TEST_F(OpenLink, NullWhileOpen) {
    std::uint16_t length = 1500;
    EXPECT_EQ(-3, ble_send_receive(nullptr, 1, &length));
    EXPECT_EQ(-3, ble_receive(nullptr, &length));
    EXPECT_EQ(-3, ble_receive(ble_msg_buffer, nullptr));
    EXPECT_EQ(1500, length);
    EXPECT_THAT(logged(),
                ElementsAre("Failed, invalid parameters", "Failed, invalid parameters", "Failed, invalid parameters"));
}

TEST_F(OpenLink, NoReplyBeforeTheTimeLimit) {
    hurry();
    std::uint16_t length = 1500;
    EXPECT_EQ(-1, ble_receive(ble_msg_buffer, &length));
    EXPECT_EQ(0, length);
    EXPECT_THAT(logged(), ElementsAre("Failed error:Connection timed out, timeout\n"));
}

TEST_F(OpenLink, RoomBelowTheQueuesMessageSize) {
    std::uint16_t length = 1499;
    EXPECT_EQ(-1, ble_receive(ble_msg_buffer, &length));
    EXPECT_EQ(0, length);
    EXPECT_THAT(logged(), ElementsAre("Failed error:Message too long, timeout\n"));
}
