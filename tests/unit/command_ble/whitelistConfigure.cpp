#include "bleTest.h"
#include "command_ble.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class WhitelistConfigure : public BleTest {
protected:
    void expectRefused(const char* query, const std::vector<std::string>& lines) {
        EXPECT_EQ(-3, call(ble_whitelist_configure, query));
        EXPECT_EQ(lines, logged());
        EXPECT_THAT(peer_.requests(), IsEmpty());
        EXPECT_EQ("untouched", response());
    }
};

} // namespace

TEST_F(WhitelistConfigure, Operations) {
    const struct {
        const char* query;
        Bytes data;
    } rows[] = {
        {"device=A1B2C3D4E5F6&remove=1", {7, 0, 0, 0xF6, 0xE5, 0xD4, 0xC3, 0xB2, 0xA1}},
        {"device=A1B2C3D4E5F6&auto_connect=1", {7, 4, 1, 0xF6, 0xE5, 0xD4, 0xC3, 0xB2, 0xA1}},
        {"auto_connect=0&device=A1B2C3D4E5F6", {7, 4, 0, 0xF6, 0xE5, 0xD4, 0xC3, 0xB2, 0xA1}},
        {"device=1&auto_connect=258", {7, 4, 2, 1, 0, 0, 0, 0, 0}},
        {"device=1&auto_connect=-1", {7, 4, 255, 1, 0, 0, 0, 0, 0}},
        {"device=1&remove= 1x", {7, 0, 0, 1, 0, 0, 0, 0, 0}},
    };
    for (const auto& row : rows) {
        peer_.reply(replyOf(0));
        EXPECT_EQ(0, call(ble_whitelist_configure, row.query)) << row.query;
        EXPECT_EQ(row.data, sent().back()) << row.query;
        EXPECT_EQ("untouched", response());
    }
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(WhitelistConfigure, AutoConnectWinsOverRemoval) {
    peer_.reply(replyOf(0));
    EXPECT_EQ(0, call(ble_whitelist_configure, "device=1&auto_connect=0&remove=1"));
    EXPECT_THAT(sent(), ElementsAre(Bytes{7, 4, 0, 1, 0, 0, 0, 0, 0}));
}

TEST_F(WhitelistConfigure, MissingDevice) {
    expectRefused("remove=1", {"Failed to parse parameters in remove=1"});
    expectRefused("", {"Failed to parse parameters in "});
    expectRefused(nullptr, {"Failed to parse parameters in (null)"});
}

TEST_F(WhitelistConfigure, BadDeviceIsReportedFirst) {
    expectRefused("device=A1:B2:C3:D4:E5:F6&remove=x",
                  {"Failed to parse device address from device=A1:B2:C3:D4:E5:F6&remove=x"});
    expectRefused("device=", {"Failed to parse device address from device="});
}

TEST_F(WhitelistConfigure, RemoveNotANumber) {
    expectRefused("device=1&remove=yes&auto_connect=x", {"Invalid parameter to remove= [yes]"});
    expectRefused("device=1&remove=", {"Invalid parameter to remove= []"});
}

TEST_F(WhitelistConfigure, RemoveOtherThanOneIsRefusedSilently) {
    expectRefused("device=1&remove=0", {});
    expectRefused("device=1&remove=2", {});
    expectRefused("device=1&remove=257", {});
    expectRefused("device=1&remove=-1&auto_connect=1", {});
}

TEST_F(WhitelistConfigure, AutoConnectNotANumber) {
    expectRefused("device=1&auto_connect=on", {"Invalid parameter to auto_connect= [on]"});
    expectRefused("device=1&remove=1&auto_connect=", {"Invalid parameter to auto_connect= []"});
}

TEST_F(WhitelistConfigure, NoOperation) {
    expectRefused("device=A1B2C3D4E5F6", {"No parameters specified for command!"});
}

TEST_F(WhitelistConfigure, Refused) {
    peer_.reply(replyOf(1));
    EXPECT_EQ(-1, call(ble_whitelist_configure, "device=1&remove=1"));
    EXPECT_THAT(logged(), ElementsAre("ble_whitelist_configure device=1&remove=1 command failed"));
    EXPECT_EQ("untouched", response());
}

TEST_F(WhitelistConfigure, WithoutAReply) {
    peer_.stayMute();
    hurry();
    EXPECT_EQ(-1, call(ble_whitelist_configure, "device=1&remove=1"));
    EXPECT_THAT(logged(), ElementsAre("Failed error:Connection timed out, timeout\n", noReply,
                                      "ble_whitelist_configure device=1&remove=1 command failed"));
}

TEST_F(WhitelistConfigure, PercentSignsOfAQueryAreOnlyText) {
    expectRefused("remove=1&x=%s%n%d", {"Failed to parse parameters in remove=1&x=%s%n%d"});
}
