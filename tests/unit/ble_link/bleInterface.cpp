#include "bleInterface.h"

#include "bleTest.h"

#include <cerrno>
#include <climits>
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
class BleInterface : public testing::Test {
protected:
    BleInterface() { g_logLevel = UTIL_LOG_INFO; }
    ~BleInterface() override {
        faults::disarm();
        faults::failingAllocation = 0;
        faults::unopenableQueue.clear();
        faults::unopenableTimes = INT_MAX;
        faults::unopenableError = EACCES;
        faults::unclosableQueue.clear();
        faults::unlinkFails = false;
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

} // namespace

TEST_F(BleInterface, OpeningCreatesTheReplyQueueAndOpensTheNetworkDaemons) {
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

TEST_F(BleInterface, OpeningRemovesAQueueLeftBehindByTheSameProcessId) {
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

TEST_F(BleInterface, OpeningTwiceLeavesTheOpenLinkAlone) {
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

TEST_F(BleInterface, OpeningWithoutMemoryForARecord) {
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

TEST_F(BleInterface, OpeningWithoutMemoryForTheReplyQueuesName) {
    havePeer();
    faults::failingAllocation = 3;
    EXPECT_EQ(-2, watchedOpen());
    EXPECT_THAT(logged(), ElementsAre("Unable to allocate memory"));
    EXPECT_THAT(faults::opens, IsEmpty());
    EXPECT_EQ(0U, faults::unfreed());
    expectClosed();
}

TEST_F(BleInterface, ReplyQueueThatCannotBeCreatedKeepsItsName) {
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

TEST_F(BleInterface, QueuesOfProcessesThatAreGoneMakeRoomForTheReplyQueue) {
    havePeer();
    for (const int error : {EMFILE, ENOSPC}) {
        const std::string orphan = "/to_ZVCC2147483647"; // no process has this id
        makeQueue(orphan);
        faults::unopenableQueue = replyQueue_;
        faults::unopenableTimes = 1;
        faults::unopenableError = error;
        EXPECT_EQ(0, watchedOpen());
        EXPECT_FALSE(queueExists(orphan));
        EXPECT_TRUE(queueExists(replyQueue_));
        EXPECT_THAT(logged(), ElementsAre(warning("Removed reply queues of processes that are gone: 1")));
        EXPECT_THAT(faults::unlinks, ElementsAre(replyQueue_, orphan));
        EXPECT_EQ(0, watchedClose());
    }
}

TEST_F(BleInterface, ReplyQueueIsTriedOnceMoreAlsoWhenAnotherRequestHasMadeTheRoom) {
    havePeer();
    faults::unopenableQueue = replyQueue_;
    faults::unopenableTimes = 1;
    faults::unopenableError = EMFILE;
    EXPECT_EQ(0, watchedOpen());
    EXPECT_THAT(logged(), IsEmpty());
    EXPECT_EQ(0, watchedClose());
}

TEST_F(BleInterface, ReplyQueueForWhichThereIsStillNoRoomFails) {
    havePeer();
    faults::unopenableQueue = replyQueue_;
    faults::unopenableError = ENOSPC;
    EXPECT_EQ(-1, watchedOpen());
    EXPECT_EQ(2U, faults::opens.size());
    EXPECT_THAT(logged(), ElementsAre("Failed to create rx queue"));
    faults::freeUnfreed();
    expectClosed();
}

TEST_F(BleInterface, ReplyQueueThatIsRefusedForAnotherReasonLeavesOtherQueuesAlone) {
    havePeer();
    makeQueue("/to_ZVCC2147483647");
    faults::unopenableQueue = replyQueue_;
    EXPECT_EQ(-1, watchedOpen());
    EXPECT_EQ(1U, faults::opens.size());
    EXPECT_EQ(0, mq_unlink("/to_ZVCC2147483647"));
    faults::freeUnfreed();
}

TEST_F(BleInterface, AbsentNetworkDaemonTakesTheReplyQueueAwayAgain) {
    EXPECT_EQ(-1, watchedOpen());
    EXPECT_THAT(logged(), ElementsAre("Failed to create tx queue"));
    EXPECT_THAT(faults::unlinks, ElementsAre(replyQueue_, replyQueue_));
    EXPECT_EQ(1, faults::closes);
    EXPECT_EQ(0U, faults::unfreed());
    expectClosed();
}

TEST_F(BleInterface, FailedOpeningCanBeRepeated) {
    EXPECT_EQ(-1, ble_interface_open());
    havePeer();
    EXPECT_EQ(0, ble_interface_open());
    EXPECT_EQ(0, ble_interface_close());
}

TEST_F(BleInterface, ClosingAClosedLinkIsNothing) {
    EXPECT_EQ(0, ble_interface_close());
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(BleInterface, FailureToCloseTheRequestQueueIsLogged) {
    havePeer();
    faults::unclosableQueue = "/to_zvnet";
    EXPECT_EQ(0, watchedOpen());
    EXPECT_EQ(0, watchedClose()); // the unlinking of the reply queue has the last word
    EXPECT_THAT(logged(), ElementsAre("Failed to close tx message queue"));
    EXPECT_EQ(0U, faults::unfreed());
    expectClosed();
}

TEST_F(BleInterface, FailureToCloseTheReplyQueueIsLoggedAndNotReflected) {
    havePeer();
    faults::unclosableQueue = replyQueue_;
    EXPECT_EQ(0, watchedOpen());
    EXPECT_EQ(0, watchedClose());
    EXPECT_THAT(logged(), ElementsAre("Failed to close rx message queue"));
    EXPECT_EQ(0U, faults::unfreed());
    expectClosed();
}

TEST_F(BleInterface, FailureToUnlinkTheReplyQueueIsTheResult) {
    havePeer();
    EXPECT_EQ(0, watchedOpen());
    faults::unlinkFails = true;
    EXPECT_EQ(-1, watchedClose());
    faults::unlinkFails = false;
    EXPECT_THAT(logged(), ElementsAre("Failed to unlink rx queue"));
    EXPECT_EQ(0U, faults::unfreed());
    expectClosed();
}

TEST_F(BleInterface, FailuresAreErrorsOfCommandBle) {
    ble_interface_open();
    const auto lines = log_.take();
    ASSERT_EQ(1U, lines.size());
    EXPECT_EQ(3, lines[0].priority);
    EXPECT_THAT(lines[0].text, testing::MatchesRegex("UTIL_LOG_ERROR:Failed to create tx queue @command_ble:[0-9]+"));
}

TEST_F(BleInterface, NothingIsLoggedBelowTheErrorLevel) {
    g_logLevel = UTIL_LOG_FATAL;
    EXPECT_EQ(-1, ble_interface_open());
    EXPECT_EQ(-3, ble_send(nullptr, 0));
    EXPECT_THAT(logged(), IsEmpty());
    g_logLevel = UTIL_LOG_ERROR;
    EXPECT_EQ(-1, ble_interface_open());
    EXPECT_THAT(logged(), ElementsAre("Failed to create tx queue"));
}
