#include "bleRequest.h"

#include "bleElements.h"
#include "bleTest.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Exchange : public BleTest {};

} // namespace

TEST_F(Exchange, LengthIsThatOfTheReply) {
    peer_.reply({1, 2, 3, 4});
    std::uint8_t data[] = {5, 6};
    EXPECT_EQ(4, exchange(serialiseCommand(data)));
    EXPECT_THAT(peer_.requests(), ElementsAre(bleRequest({5, 6})));
}

TEST_F(Exchange, LengthIsNothingWithoutAReply) {
    peer_.stayMute();
    hurry();
    std::uint8_t data[] = {5, 6};
    EXPECT_EQ(0, exchange(serialiseCommand(data)));
}

TEST_F(Exchange, DataThatAreSentAreLetGoOf) {
    std::uint8_t data[] = {5, 6};
    EXPECT_FALSE(serialiseCommand(data).empty());
    EXPECT_EQ(nullptr, commandDataElement.getData());
}

TEST_F(Exchange, RequestThatDoesNotFitHasNoLength) {
    std::vector<std::uint8_t> data(1500);
    EXPECT_TRUE(serialiseCommand(data).empty());
}

TEST_F(Exchange, RequestThatDoesNotFitIsNotSent) {
    std::vector<std::uint8_t> data(1500);
    EXPECT_EQ(0, exchange(serialiseCommand(data)));
    EXPECT_THAT(logged(), ElementsAre("Failed"));
    EXPECT_THAT(peer_.requests(), IsEmpty());
}

TEST_F(Exchange, LongestRequestThatFitsIsSent) {
    peer_.reply({1, 2, 3, 4});
    const std::size_t rest = bleRequest({}).size();
    Bytes data(1500 - rest, 7);
    EXPECT_EQ(4, exchange(serialiseCommand(data)));
    EXPECT_THAT(peer_.requests(), ElementsAre(bleRequest(data)));
    data.push_back(7);
    EXPECT_EQ(0, exchange(serialiseCommand(data)));
    EXPECT_THAT(logged(), ElementsAre("Failed"));
    EXPECT_EQ(1U, peer_.requestCount());
}

TEST_F(Exchange, DataHaveTheWholeBufferWhateverTheLengthWas) {
    peer_.reply(replyOf(0, {7, 8, 9}));
    std::uint8_t data[] = {5};
    std::uint16_t length = 0;
    EXPECT_EQ(0, exchangeForData(serialiseCommand(data), length));
    EXPECT_EQ(3, length);
    EXPECT_EQ(Bytes({7, 8, 9}), Bytes(ble_msg_buffer, ble_msg_buffer + 3));
}
