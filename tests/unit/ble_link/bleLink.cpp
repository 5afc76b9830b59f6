#include "bleLink.h"

#include "bleTest.h"

#include <chrono>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class ClosedLink : public testing::Test {
protected:
    ClosedLink() { g_logLevel = UTIL_LOG_INFO; }
    ~ClosedLink() override { faults::clockOffset = 0; }

    std::vector<std::string> logged() { return linesOf(log_); }

    SyslogCapture log_;
};

class OpenLink : public BleTest {};

} // namespace

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
