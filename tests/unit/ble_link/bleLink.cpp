#include "bleLink.h"

#include "bleQueue.h"
#include "bleTest.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <poll.h>
#include <sys/time.h>
#include <thread>

using testing::AllOf;
using testing::ElementsAre;
using testing::Gt;
using testing::IsEmpty;
using testing::Le;
using testing::SizeIs;

namespace {

std::vector<int> polls; // the time limits that were given
timespec lastDeadline = {};

// What poll says of a queue, and the time that it takes for that.
struct PollAnswer {
    int result;
    short found;
    int error;
    int seconds;
    mqd_t takenFrom = -1; // a queue that gets room meanwhile
};
std::vector<PollAnswer> pollAnswers; // of the next calls; poll itself answers the others

void takeMessage(mqd_t queue) {
    char message[2048];
    EXPECT_EQ(1, mq_receive(queue, message, sizeof message, nullptr));
}

class ClosedLink : public testing::Test {
protected:
    ClosedLink() { g_logLevel = UTIL_LOG_INFO; }
    ~ClosedLink() override {
        pollAnswers.clear();
        faults::monotonicOffset = 0;
    }

    // Opens the link to a queue that nobody reads, and fills it.
    void fillQueue() {
        mq_attr attributes{};
        attributes.mq_maxmsg = 1;
        attributes.mq_msgsize = 2048;
        mq_unlink("/to_zvnet");
        queue_ = mq_open("/to_zvnet", O_RDWR | O_CREAT | O_EXCL, 0600, &attributes);
        ASSERT_LE(0, queue_);
        ASSERT_EQ(0, ble_interface_open());
        EXPECT_EQ(0, ble_send(&byte_, 1));
        polls.clear();
    }
    void removeQueue() const {
        EXPECT_EQ(0, ble_interface_close());
        mq_close(queue_);
        mq_unlink("/to_zvnet");
    }

    std::vector<std::string> logged() { return linesOf(log_); }

    mqd_t queue_ = -1;
    const std::uint8_t byte_ = 1;

    SyslogCapture log_;
};

class OpenLink : public BleTest {};

} // namespace

extern "C" int __real_poll(pollfd* waiting, nfds_t count, int timeout);
// Where the time of a 32-bit processor is given 64 bits, the call has another name.
#ifdef __USE_TIME_BITS64
#define REAL_MQ_TIMEDRECEIVE __real___mq_timedreceive_time64
#define WRAP_MQ_TIMEDRECEIVE __wrap___mq_timedreceive_time64
#else
#define REAL_MQ_TIMEDRECEIVE __real_mq_timedreceive
#define WRAP_MQ_TIMEDRECEIVE __wrap_mq_timedreceive
#endif
extern "C" ssize_t REAL_MQ_TIMEDRECEIVE(mqd_t queue, char* buffer, std::size_t size, unsigned* priority,
                                        const timespec* end);

// Fifteen times as fast.
extern "C" int __wrap_poll(pollfd* waiting, nfds_t count, int timeout) {
    if (count != 1 || waiting->events != POLLOUT) { // the peer's and the log's
        return __real_poll(waiting, count, timeout);
    }
    polls.push_back(timeout);
    if (pollAnswers.empty()) {
        return __real_poll(waiting, count, timeout / 15);
    }
    const PollAnswer answer = pollAnswers.front();
    pollAnswers.erase(pollAnswers.begin());
    faults::monotonicOffset += answer.seconds;
    if (answer.takenFrom != -1) {
        takeMessage(answer.takenFrom);
    }
    waiting->revents = answer.found;
    errno = answer.error;
    return answer.result;
}

// Keeps the time limit.
extern "C" ssize_t WRAP_MQ_TIMEDRECEIVE(mqd_t queue, char* buffer, std::size_t size, unsigned* priority,
                                        const timespec* end) {
    lastDeadline = *end;
    return REAL_MQ_TIMEDRECEIVE(queue, buffer, size, priority, end);
}

TEST_F(ClosedLink, SendingOnAClosedLink) {
    const std::uint8_t byte = 0;
    std::uint16_t length = 1500;
    EXPECT_EQ(-1, ble_send(&byte, 1));
    EXPECT_EQ(-1, ble_send_receive(&byte, 1, &length));
    EXPECT_EQ(-1, ble_send_receive_into(&byte, 1, ble_msg_buffer, &length));
    EXPECT_EQ(1500, length);
    EXPECT_THAT(logged(), ElementsAre("Failed, IF not open", "Failed, IF not open", "Failed, IF not open"));
}

TEST_F(ClosedLink, ReceivingOnAClosedLinkHasAResultOfItsOwn) {
    std::uint16_t length = 1500;
    EXPECT_EQ(-3, ble_receive(ble_msg_buffer, &length));
    EXPECT_EQ(1500, length);
    EXPECT_THAT(logged(), ElementsAre("Failed, IF not open"));
}

TEST_F(ClosedLink, NullIsRefusedBeforeTheLinkIsLookedAt) {
    std::uint16_t length = 1500;
    EXPECT_EQ(-3, ble_send(nullptr, 1));
    EXPECT_EQ(-3, ble_receive(nullptr, &length));
    EXPECT_THAT(logged(), ElementsAre("Failed, invalid parameters", "Failed, invalid parameters"));
}

TEST_F(ClosedLink, FullQueueIsGivenUpAtTheTimeLimit) {
    fillQueue();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(-1, ble_send(&byte_, 1));
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_LE(std::chrono::milliseconds(900), waited);
    EXPECT_GE(std::chrono::seconds(10), waited);
    EXPECT_THAT(polls, ElementsAre(AllOf(Gt(14000), Le(15000))));
    EXPECT_THAT(logged(), ElementsAre("Failed"));
    removeQueue();
}

TEST_F(ClosedLink, RoomThatComesBeforeTheTimeLimitIsUsed) {
    fillQueue();
    std::thread daemon([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        takeMessage(queue_);
    });
    EXPECT_EQ(0, ble_send(&byte_, 1));
    daemon.join();
    EXPECT_THAT(logged(), IsEmpty());
    removeQueue();
}

TEST_F(ClosedLink, RoomThatAnotherProcessTakesIsNotWaitedForWithoutEnd) {
    fillQueue();
    const PollAnswer roomAfterFiveSeconds{1, POLLOUT, 0, 5};
    pollAnswers = {roomAfterFiveSeconds, roomAfterFiveSeconds, roomAfterFiveSeconds};
    EXPECT_EQ(-1, ble_send(&byte_, 1));
    EXPECT_THAT(polls, ElementsAre(AllOf(Gt(14000), Le(15000)), AllOf(Gt(9000), Le(10000)), AllOf(Gt(4000), Le(5000))));
    EXPECT_THAT(logged(), ElementsAre("Failed"));
    removeQueue();
}

TEST_F(ClosedLink, RoomAtTheLastMomentIsUsed) {
    fillQueue();
    pollAnswers = {{1, POLLOUT, 0, 14}, {1, POLLOUT, 0, 1, queue_}};
    EXPECT_EQ(0, ble_send(&byte_, 1));
    EXPECT_THAT(logged(), IsEmpty());
    removeQueue();
}

TEST_F(ClosedLink, SignalOfALibraryEndsNoWait) {
    fillQueue();
    pollAnswers = {{-1, 0, EINTR, 14}};
    EXPECT_EQ(-1, ble_send(&byte_, 1));
    EXPECT_THAT(polls, ElementsAre(AllOf(Gt(14000), Le(15000)), AllOf(Gt(0), Le(1000))));
    EXPECT_THAT(logged(), ElementsAre("Failed"));
    removeQueue();
}

TEST_F(ClosedLink, WaitThatFailsIsNotTriedAgain) {
    const PollAnswer answers[] = {{-1, 0, ENOMEM, 0}, {1, POLLNVAL, 0, 0}, {1, POLLERR, 0, 0}};
    for (const PollAnswer& answer : answers) {
        fillQueue();
        pollAnswers = {answer};
        EXPECT_EQ(-1, ble_send(&byte_, 1));
        EXPECT_THAT(polls, SizeIs(1));
        removeQueue();
    }
    EXPECT_THAT(logged(), ElementsAre("Failed", "Failed", "Failed"));
}

TEST_F(ClosedLink, SendingChangesNoDescriptorButItsOwn) {
    fillQueue();
    mq_attr attributes{};
    EXPECT_EQ(0, mq_getattr(queue_, &attributes));
    EXPECT_EQ(0, attributes.mq_flags);
    removeQueue();
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

// As the link stands while it is being opened.
TEST_F(ClosedLink, QueuesThatAreNotOpenAreLikeAClosedLink) {
    BleQueue queue{queueNotOpen, {}, nullptr};
    requestQueue = &queue;
    replyQueue = &queue;
    const std::uint8_t byte = 0;
    std::uint16_t length = 1500;
    EXPECT_EQ(-1, ble_send(&byte, 1));
    EXPECT_EQ(-3, ble_receive(ble_msg_buffer, &length));
    requestQueue = nullptr;
    replyQueue = nullptr;
    EXPECT_EQ(1500, length);
    EXPECT_THAT(logged(), ElementsAre("Failed, IF not open", "Failed, IF not open"));
}

TEST_F(ClosedLink, RequestQueueAloneIsAnOpenLink) {
    BleQueue queue{queueNotOpen, {}, nullptr};
    requestQueue = &queue;
    EXPECT_EQ(-1, ble_interface_open());
    EXPECT_EQ(&queue, requestQueue);
    EXPECT_EQ(nullptr, replyQueue);
    requestQueue = nullptr;
    EXPECT_THAT(logged(), ElementsAre("Interface already open"));
}

// The limit is a moment of the clock, to the microsecond.
TEST_F(OpenLink, AReplyIsWaitedForUntil15SecondsAfterTheCallToTheMicrosecond) {
    hurry();
    timeval before{};
    gettimeofday(&before, nullptr);
    std::uint16_t length = 1500;
    EXPECT_EQ(-1, ble_receive(ble_msg_buffer, &length));
    timeval after{};
    gettimeofday(&after, nullptr);
    const auto micros = [](std::int64_t seconds, std::int64_t parts) { return seconds * 1000000 + parts; };
    const std::int64_t given = micros(lastDeadline.tv_sec, lastDeadline.tv_nsec / 1000);
    EXPECT_LE(micros(before.tv_sec + 15, before.tv_usec), given);
    EXPECT_GE(micros(after.tv_sec + 15, after.tv_usec), given);
    EXPECT_EQ(0, lastDeadline.tv_nsec % 1000);
}

// A program that was started without standard input has the queues there.
TEST_F(ClosedLink, Descriptor0IsAnOpenQueue) {
    QueuePeer peer;
    peer.reply({1, 2, 3});
    peer.reply({4, 5});
    const int input = dup(STDIN_FILENO);
    close(STDIN_FILENO);
    ASSERT_EQ(0, ble_interface_open());
    EXPECT_EQ(0, replyQueue->descriptor);
    std::uint16_t length = 1500;
    EXPECT_EQ(0, ble_send_receive(&byte_, 1, &length));
    EXPECT_EQ(3, length);

    const int moved = dup(replyQueue->descriptor);
    dup2(requestQueue->descriptor, STDIN_FILENO);
    close(requestQueue->descriptor);
    replyQueue->descriptor = moved;
    requestQueue->descriptor = STDIN_FILENO;
    length = 1500;
    EXPECT_EQ(0, ble_send_receive(&byte_, 1, &length));
    EXPECT_EQ(2, length);
    EXPECT_EQ(0, ble_interface_close());
    dup2(input, STDIN_FILENO);
    close(input);
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(ClosedLink, ClosingARequestQueueThatIsNotOpenIsNoFailure) {
    requestQueue = static_cast<BleQueue*>(std::malloc(sizeof(BleQueue)));
    requestQueue->descriptor = queueNotOpen;
    EXPECT_EQ(0, ble_interface_close());
    EXPECT_EQ(nullptr, requestQueue);
    EXPECT_THAT(logged(), IsEmpty());
}
