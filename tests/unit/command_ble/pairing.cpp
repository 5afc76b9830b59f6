#include "bleTest.h"
#include "command_ble.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class PairStart : public BleTest {};
class PairCancel : public BleTest {};
class PairStatus : public BleTest {};

} // namespace

TEST_F(PairStart, AddressAndType) {
    const struct {
        const char* query;
        Bytes data;
    } rows[] = {
        {"device=A1B2C3D4E5F6&address_type=1", {0x02, 0xF6, 0xE5, 0xD4, 0xC3, 0xB2, 0xA1, 0x01}},
        {"device=A1B2C3D4E5F6", {0x02, 0xF6, 0xE5, 0xD4, 0xC3, 0xB2, 0xA1, 0x00}},
        {"address_type=258&device=a1b2c3d4e5f6", {0x02, 0xF6, 0xE5, 0xD4, 0xC3, 0xB2, 0xA1, 0x02}},
        {"address_type=-1&device=1", {0x02, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0xFF}},
    };
    for (const auto& row : rows) {
        peer_.reply(replyOf(0));
        EXPECT_EQ(0, call(ble_pair_start, row.query)) << row.query;
        EXPECT_EQ(row.data, sent().back()) << row.query;
        EXPECT_EQ("untouched", response());
    }
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(PairStart, TypeIsLookedAtFirst) {
    EXPECT_EQ(-3, call(ble_pair_start, "address_type=x&device=A1B2C3D4E5F6"));
    EXPECT_EQ(-3, call(ble_pair_start, "address_type="));
    EXPECT_THAT(logged(),
                ElementsAre("Error parsing address_type parameter [x]", "Error parsing address_type parameter []"));
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(PairStart, MissingDevice) {
    EXPECT_EQ(-3, call(ble_pair_start, "address_type=1"));
    EXPECT_THAT(logged(),
                ElementsAre("Failed to parse required param device=", "Failed to parse parameters in address_type=1"));
    EXPECT_EQ(-3, call(ble_pair_start, nullptr));
    EXPECT_THAT(logged(),
                ElementsAre("Failed to parse required param device=", "Failed to parse parameters in (null)"));
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(PairStart, BadDevice) {
    EXPECT_EQ(-3, call(ble_pair_start, "device=A1:B2:C3:D4:E5:F6"));
    EXPECT_EQ(-3, call(ble_pair_start, "device=A1-B2-C3-D4-E5-F6&address_type=1"));
    EXPECT_EQ(-3, call(ble_pair_start, "device="));
    EXPECT_THAT(logged(), ElementsAre("Failed to parse device address from device=A1:B2:C3:D4:E5:F6",
                                      "Failed to parse device address from device=A1-B2-C3-D4-E5-F6&address_type=1",
                                      "Failed to parse device address from device="));
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(PairStart, Refused) {
    peer_.reply(replyOf(1));
    EXPECT_EQ(-1, call(ble_pair_start, "device=1"));
    EXPECT_THAT(logged(), ElementsAre("ble_pair_start device=1 command failed"));
}

TEST_F(PairStart, WithoutAReply) {
    peer_.stayMute();
    hurry();
    EXPECT_EQ(-1, call(ble_pair_start, "device=1"));
    EXPECT_THAT(logged(), ElementsAre("Failed error:Connection timed out, timeout\n", noReply,
                                      "ble_pair_start device=1 command failed"));
}

TEST_F(PairCancel, AddressAndType) {
    peer_.reply(replyOf(0));
    EXPECT_EQ(0, call(ble_pair_cancel, "device=A1B2C3D4E5F6&address_type=1"));
    peer_.reply(replyOf(0));
    EXPECT_EQ(0, call(ble_pair_cancel, "device=A1B2C3D4E5F6"));
    EXPECT_THAT(sent(), ElementsAre(Bytes{0x03, 0xF6, 0xE5, 0xD4, 0xC3, 0xB2, 0xA1, 0x01},
                                    Bytes{0x03, 0xF6, 0xE5, 0xD4, 0xC3, 0xB2, 0xA1, 0x00}));
    EXPECT_EQ("untouched", response());
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(PairCancel, TypeIsCutToEightBits) {
    peer_.reply(replyOf(0));
    EXPECT_EQ(0, call(ble_pair_cancel, "address_type=258&device=1"));
    EXPECT_THAT(sent(), ElementsAre(Bytes{0x03, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x02}));
}

TEST_F(PairCancel, TypeIsLookedAtFirst) {
    EXPECT_EQ(-3, call(ble_pair_cancel, "address_type=x"));
    EXPECT_EQ(-3, call(ble_pair_cancel, "address_type=&device=zz"));
    EXPECT_THAT(logged(),
                ElementsAre("Error parsing address_type parameter [x]", "Error parsing address_type parameter []"));
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(PairCancel, WithoutAReply) {
    peer_.stayMute();
    hurry();
    EXPECT_EQ(-1, call(ble_pair_cancel, "device=1"));
    EXPECT_THAT(logged(), ElementsAre("Failed error:Connection timed out, timeout\n", noReply,
                                      "ble_pair_cancel device=1 command failed"));
}

TEST_F(PairCancel, BadType) {
    EXPECT_EQ(-3, call(ble_pair_cancel, "device=A1B2C3D4E5F6&address_type=x"));
    EXPECT_THAT(logged(), ElementsAre("Error parsing address_type parameter [x]"));
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(PairCancel, MissingDeviceHasOneLine) {
    EXPECT_EQ(-3, call(ble_pair_cancel, "address_type=1"));
    EXPECT_THAT(logged(), ElementsAre("Failed to parse parameters in address_type=1"));
    EXPECT_EQ(-3, call(ble_pair_cancel, nullptr));
    EXPECT_THAT(logged(), ElementsAre("Failed to parse parameters in (null)"));
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(PairCancel, BadDevice) {
    EXPECT_EQ(-3, call(ble_pair_cancel, "x=1&device=12345g"));
    EXPECT_THAT(logged(), ElementsAre("Failed to parse device address from x=1&device=12345g"));
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(PairCancel, Refused) {
    peer_.reply(replyOf(1));
    EXPECT_EQ(-1, call(ble_pair_cancel, "device=1"));
    EXPECT_THAT(logged(), ElementsAre("ble_pair_cancel device=1 command failed"));
}

TEST_F(PairStatus, AnswersTheStatusByte) {
    const struct {
        std::uint8_t status;
        const char* text;
    } rows[] = {
        {0, "\n{\"pairing_status\":0}\n"}, {2, "\n{\"pairing_status\":2}\n"}, {255, "\n{\"pairing_status\":255}\n"}};
    for (const auto& row : rows) {
        peer_.reply(replyOf(0, {row.status}));
        EXPECT_EQ(0, call(ble_pair_status, nullptr));
        EXPECT_EQ(row.text, response());
        EXPECT_EQ(Bytes{9}, sent().back());
    }
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(PairStatus, QueryIsNotRead) {
    peer_.reply(replyOf(0, {1}));
    EXPECT_EQ(0, call(ble_pair_status, "device=zz&address_type=x"));
    EXPECT_EQ("\n{\"pairing_status\":1}\n", response());
}

TEST_F(PairStatus, WithoutABuffer) {
    peer_.reply(replyOf(0, {0}));
    EXPECT_EQ(0, callWithoutBuffer(ble_pair_status, ""));
    EXPECT_EQ("untouched", response());
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(PairStatus, AnswerNeedsRoomForItsZero) {
    peer_.reply(replyOf(0, {0}));
    EXPECT_EQ(0, callWithRoom(ble_pair_status, "", 23));
    EXPECT_EQ("\n{\"pairing_status\":0}\n", response());
    peer_.reply(replyOf(0, {0}));
    EXPECT_EQ(-1, callWithRoom(ble_pair_status, "", 22));
    EXPECT_EQ("untouched", response());
    EXPECT_THAT(logged(), ElementsAre("Not enough room in buffer for response\n"));
}

TEST_F(PairStatus, ReplyThatIsNotOneByte) {
    peer_.reply(replyOf(0));
    EXPECT_EQ(-1, call(ble_pair_status, ""));
    peer_.reply(replyOf(0, {1, 2}));
    EXPECT_EQ(-1, call(ble_pair_status, ""));
    EXPECT_EQ("untouched", response());
    EXPECT_THAT(logged(), ElementsAre("Expected 1 bytes in response, got 0", "Expected 1 bytes in response, got 2"));
}

TEST_F(PairStatus, Refused) {
    peer_.reply(replyOf(3, {1}));
    EXPECT_EQ(-1, call(ble_pair_status, ""));
    EXPECT_THAT(logged(), ElementsAre("ble_pair_status command failed"));
}

TEST_F(PairStatus, WithoutAReply) {
    peer_.stayMute();
    hurry();
    EXPECT_EQ(-1, call(ble_pair_status, ""));
    EXPECT_THAT(logged(),
                ElementsAre("Failed error:Connection timed out, timeout\n", noReply, "ble_pair_status command failed"));
}
