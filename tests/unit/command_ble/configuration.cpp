#include "bleTest.h"
#include "command_ble.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Configure : public BleTest {};
class Scan : public BleTest {};

} // namespace

TEST_F(Configure, EmptyQueryAnswersTheSetting) {
    peer_.reply(replyOf(0, {1}));
    EXPECT_EQ(0, call(ble_configure, ""));
    EXPECT_EQ("\n{\"auto_connect\":1}\n", response());
    EXPECT_THAT(sent(), ElementsAre(Bytes{10}));
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(Configure, NullQueryIsAnEmptyOne) {
    peer_.reply(replyOf(0, {255}));
    EXPECT_EQ(0, call(ble_configure, nullptr));
    EXPECT_EQ("\n{\"auto_connect\":255}\n", response());
    EXPECT_THAT(sent(), ElementsAre(Bytes{10}));
}

TEST_F(Configure, GetWithoutABuffer) {
    peer_.reply(replyOf(0, {1}));
    EXPECT_EQ(0, callWithoutBuffer(ble_configure, ""));
    EXPECT_EQ("untouched", response());
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(Configure, AnswerNeedsRoomForItsZero) {
    peer_.reply(replyOf(0, {1}));
    EXPECT_EQ(0, callWithRoom(ble_configure, "", 21));
    EXPECT_EQ("\n{\"auto_connect\":1}\n", response());
    peer_.reply(replyOf(0, {1}));
    EXPECT_EQ(-1, callWithRoom(ble_configure, "", 20));
    EXPECT_EQ("untouched", response());
    EXPECT_THAT(logged(), ElementsAre("Not enough room in buffer for response\n", "Failed to parse parameters in "));
}

TEST_F(Configure, GetRefused) {
    peer_.reply(replyOf(5, {1}));
    EXPECT_EQ(-1, call(ble_configure, ""));
    EXPECT_EQ("untouched", response());
    EXPECT_THAT(logged(), ElementsAre("Failed to get proper response for get ble config: -1"));
}

TEST_F(Configure, GetWithoutAReply) {
    peer_.stayMute();
    hurry();
    EXPECT_EQ(-1, call(ble_configure, ""));
    EXPECT_THAT(logged(), ElementsAre("Failed error:Connection timed out, timeout\n", noReply,
                                      "Failed to get proper response for get ble config: -1"));
}

TEST_F(Configure, GetReplyThatIsNotOneByte) {
    peer_.reply(replyOf(0, {1, 0}));
    EXPECT_EQ(-1, call(ble_configure, ""));
    EXPECT_EQ("untouched", response());
    EXPECT_THAT(logged(),
                ElementsAre("Expected 1 bytes of response to command, got 2", "Failed to parse parameters in "));
    peer_.reply(replyOf(0));
    EXPECT_EQ(-1, call(ble_configure, nullptr));
    EXPECT_THAT(logged(),
                ElementsAre("Expected 1 bytes of response to command, got 0", "Failed to parse parameters in "));
}

TEST_F(Configure, SetCarriesTheLowByteBehindAZero) {
    const struct {
        const char* query;
        std::uint8_t byte;
    } rows[] = {
        {"auto_connect=1", 1},           {"auto_connect=0", 0},       {"auto_connect=257", 1},
        {"auto_connect=-1", 255},        {"x=1&auto_connect= 2z", 2}, {"auto_connect=2147483647", 255},
        {"auto_connect=-2147483648", 0},
    };
    for (const auto& row : rows) {
        peer_.reply(replyOf(0));
        EXPECT_EQ(0, call(ble_configure, row.query)) << row.query;
        EXPECT_EQ((Bytes{8, 0, row.byte}), sent().back()) << row.query;
        EXPECT_EQ("untouched", response());
    }
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(Configure, SetNotANumber) {
    EXPECT_EQ(-3, call(ble_configure, "auto_connect=on"));
    EXPECT_EQ(-3, call(ble_configure, "auto_connect="));
    EXPECT_THAT(logged(),
                ElementsAre("Error parsing auto_connect parameter [on]", "Error parsing auto_connect parameter []"));
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(Configure, SetRefused) {
    peer_.reply(replyOf(1));
    EXPECT_EQ(-1, call(ble_configure, "auto_connect=257"));
    EXPECT_THAT(logged(), ElementsAre("auto_connect=257 command failed"));
    EXPECT_EQ("untouched", response());
}

TEST_F(Configure, SetWithoutAReply) {
    peer_.stayMute();
    hurry();
    EXPECT_EQ(-1, call(ble_configure, "auto_connect=1"));
    EXPECT_THAT(logged(),
                ElementsAre("Failed error:Connection timed out, timeout\n", noReply, "auto_connect=1 command failed"));
}

TEST_F(Configure, OtherParametersAlone) {
    EXPECT_EQ(-3, call(ble_configure, "foo=1"));
    EXPECT_THAT(logged(), ElementsAre("Failed to parse parameters in foo=1"));
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(Scan, CarriesTheLowByte) {
    const struct {
        const char* query;
        std::uint8_t byte;
    } rows[] = {{"p=0", 0}, {"p=1", 1}, {"p=2", 2}, {"p=258", 2}, {"p=-1", 255}, {"p=1x", 1}};
    for (const auto& row : rows) {
        peer_.reply(replyOf(0));
        EXPECT_EQ(0, call(ble_scan, row.query)) << row.query;
        EXPECT_EQ((Bytes{1, row.byte}), sent().back()) << row.query;
        EXPECT_EQ("untouched", response());
    }
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(Scan, BytesOnTheQueue) {
    peer_.reply(replyOf(0));
    EXPECT_EQ(0, call(ble_scan, "p=1"));
    const std::string name = QueuePeer::replyQueueName();
    const auto n = static_cast<std::uint8_t>(name.size());
    EXPECT_THAT(peer_.requests(), ElementsAre(join({{0, static_cast<std::uint8_t>(35 + n), 0, 2},
                                                    {0, 0, 2, 65, 'B', 'L'},
                                                    {0, 0, 2, 66, 1, 1},
                                                    {0, 0, n, 68},
                                                    bytesOf(name),
                                                    {0, 0, 7, 67, '/', 't', 'o', '_', 'b', 'l', 'e'},
                                                    {0, 0, 0, 238}})));
}

TEST_F(Scan, MissingParameter) {
    EXPECT_EQ(-3, call(ble_scan, "q=1"));
    EXPECT_EQ(-3, call(ble_scan, nullptr));
    EXPECT_THAT(logged(), ElementsAre("Failed to parse parameters in q=1", "Failed to parse parameters in (null)"));
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(Scan, NotANumber) {
    EXPECT_EQ(-3, call(ble_scan, "p=abc"));
    EXPECT_THAT(logged(), ElementsAre("Error parsing p parameter [abc]"));
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(Scan, Refused) {
    peer_.reply(replyOf(2));
    EXPECT_EQ(-1, call(ble_scan, "p=3"));
    EXPECT_THAT(logged(), ElementsAre("ble_scan p=3 command failed"));
}

TEST_F(Scan, WithoutAReply) {
    peer_.stayMute();
    hurry();
    EXPECT_EQ(-1, call(ble_scan, "p=3"));
    EXPECT_THAT(logged(),
                ElementsAre("Failed error:Connection timed out, timeout\n", noReply, "ble_scan p=3 command failed"));
}
