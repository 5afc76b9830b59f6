#include "bleCommand.h"

#include "bleTest.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class WriteResponse : public testing::Test {
protected:
    WriteResponse() { g_logLevel = UTIL_LOG_INFO; }

    SyslogCapture log;
    char buffer[8] = "1234567";
};

class Exchange : public BleTest {};

} // namespace

TEST_F(WriteResponse, TextThatFitsWithItsZero) {
    EXPECT_EQ(0, ble_write_response("abcdefg", buffer, 8));
    EXPECT_STREQ("abcdefg", buffer);
    EXPECT_THAT(linesOf(log), IsEmpty());
}

TEST_F(WriteResponse, TextThatDoesNotFitLeavesTheBufferAlone) {
    for (const int room : {7, 1, 0, -1}) {
        EXPECT_EQ(-1, ble_write_response("abcdefg", buffer, room));
        EXPECT_STREQ("1234567", buffer);
        EXPECT_THAT(linesOf(log), ElementsAre("Not enough room in buffer for response\n"));
    }
}

TEST_F(WriteResponse, NullBufferDropsTheText) {
    EXPECT_EQ(0, ble_write_response("abcdefg", nullptr, 0));
    EXPECT_THAT(linesOf(log), IsEmpty());
}

TEST_F(Exchange, LengthIsThatOfTheReply) {
    peer.reply({1, 2, 3, 4});
    std::uint8_t data[] = {5, 6};
    EXPECT_EQ(4, ble_exchange(ble_serialise_command(data)));
    EXPECT_THAT(peer.requests(), ElementsAre(bleRequest({5, 6})));
}

TEST_F(Exchange, LengthIsNothingWithoutAReply) {
    peer.stayMute();
    hurry();
    std::uint8_t data[] = {5, 6};
    EXPECT_EQ(0, ble_exchange(ble_serialise_command(data)));
}

TEST_F(Exchange, RequestThatDoesNotFitHasNoLength) {
    std::vector<std::uint8_t> data(1500);
    EXPECT_TRUE(ble_serialise_command(data).empty());
}

TEST_F(Exchange, RequestThatDoesNotFitIsNotSent) {
    std::vector<std::uint8_t> data(1500);
    EXPECT_EQ(0, ble_exchange(ble_serialise_command(data)));
    EXPECT_THAT(logged(), ElementsAre("Failed"));
    EXPECT_THAT(peer.requests(), IsEmpty());
}

TEST_F(Exchange, LongestRequestThatFitsIsSent) {
    peer.reply({1, 2, 3, 4});
    const std::size_t rest = bleRequest({}).size();
    Bytes data(1500 - rest, 7);
    EXPECT_EQ(4, ble_exchange(ble_serialise_command(data)));
    EXPECT_THAT(peer.requests(), ElementsAre(bleRequest(data)));
    data.push_back(7);
    EXPECT_EQ(0, ble_exchange(ble_serialise_command(data)));
    EXPECT_THAT(logged(), ElementsAre("Failed"));
    EXPECT_EQ(1U, peer.requestCount());
}
