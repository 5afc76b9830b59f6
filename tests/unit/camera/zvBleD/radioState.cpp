#include "radioState.h"

#include "faults.h"
#include "scenario.h"

#include <cstdio>
#include <dirent.h>
#include <gtest/gtest.h>

namespace zvcamera {
namespace {

std::string errorOf(const char* text) {
    Radio radio;
    try {
        setUpRadio(radio, Json::parse(text));
    } catch (const JsonError& error) {
        return error.what();
    }
    return "";
}

TEST(RadioState, ReadsSettingsDevicesAndWhitelist) {
    Radio radio;
    setUpRadio(radio, Json::parse(R"({"seed":7,"auto_connect":0,"whitelist_page":30,"pairing_ms":5,
        "devices":[{"address":"a1b2c3d4e5f6","address_type":1,"name":"N","rssi":-40,"uuid16":["180d"],
                    "uuid128":["00112233-4455-6677-8899-aabbccddeeff"],"presence":"away","pairing":"failure",
                    "mitm":true,"from_ms":1,"to_ms":2,"period_ms":3,"found_after_ms":4,"pairing_ms":6}],
        "whitelist":[null,{"address":"000000000001","name":"W","auto_connect":true}]})"));
    EXPECT_EQ(7U, radio.settings.seed);
    EXPECT_EQ(0, radio.autoConnect);
    EXPECT_EQ(30U, radio.settings.whitelistPage);
    ASSERT_EQ(1U, radio.devices().size());
    const Json state = radioState(radio, 0);
    EXPECT_EQ(Json::array({"180d"}), state.at("devices")[0].at("uuid16"));
    EXPECT_EQ(Json::array({"00112233445566778899aabbccddeeff"}), state.at("devices")[0].at("uuid128"));
    EXPECT_EQ("failure", state.at("devices")[0].at("pairing"));
    EXPECT_EQ(false, state.at("devices")[0].at("in_range"));
    EXPECT_EQ(false, state.at("whitelist").at("slots")[0].at("in_use"));
    EXPECT_EQ("W", state.at("whitelist").at("slots")[1].at("name"));
    EXPECT_EQ("idle", state.at("pairing").at("meaning"));
}

TEST(RadioState, NamesWhatIsWrong) {
    EXPECT_EQ("ble.speed: unknown key", errorOf(R"({"speed":1})"));
    EXPECT_EQ("ble.whitelist_page: must be a whole number from 1 to 36", errorOf(R"({"whitelist_page":37})"));
    EXPECT_EQ("ble.devices[0].address: missing", errorOf(R"({"devices":[{}]})"));
    EXPECT_EQ("ble.devices[0].nmae: unknown key", errorOf(R"({"devices":[{"address":"000000000001","nmae":"x"}]})"));
    EXPECT_EQ("ble.devices[0].rssi: must be a whole number from -127 to 20",
              errorOf(R"({"devices":[{"address":"000000000001","rssi":99}]})"));
    EXPECT_EQ("ble.devices[0].pairing: must be one of success, failure, silent",
              errorOf(R"({"devices":[{"address":"000000000001","pairing":"no"}]})"));
    EXPECT_EQ("ble.devices[1].address: a device with this address stands before",
              errorOf(R"({"devices":[{"address":"000000000001"},{"address":"000000000001"}]})"));
    EXPECT_EQ("ble.devices[0].uuid16[0]",
              errorOf(R"({"devices":[{"address":"000000000001","uuid16":["180"]}]})").substr(0, 24));
    EXPECT_EQ("ble.devices[0].to_ms: lies before from_ms",
              errorOf(R"({"devices":[{"address":"000000000001","from_ms":9,"to_ms":3}]})"));
    EXPECT_EQ("ble.whitelist: more slots than whitelist_slots, 1",
              errorOf(R"({"whitelist_slots":1,"whitelist":[null,null]})"));
    const std::string longName(53, 'n');
    EXPECT_EQ(
        "ble.devices[0]: name and UUIDs take more than the 68 bytes that a scan entry holds",
        errorOf((R"({"devices":[{"address":"000000000001","uuid128":["00112233445566778899aabbccddeeff"],"name":")" +
                 longName + "\"}]}")
                    .c_str()));
}

TEST(RadioState, MoreDevicesThanAListCanHaveAreNamedByTheirPlace) {
    std::string devices;
    for (int i = 0; i < 256; ++i) {
        char device[64];
        std::snprintf(device, sizeof device, R"(%s{"address":"%012x"})", i == 0 ? "" : ",", i);
        devices += device;
    }
    EXPECT_EQ("ble.devices[255]: more than the 255 devices that a list can have",
              errorOf((R"({"devices":[)" + devices + "]}").c_str()));
}

TEST(RadioState, EveryScenarioOfTheCameraIsReadable) {
    DIR* folder = opendir(ZV_SCENARIOS);
    ASSERT_NE(nullptr, folder);
    int count = 0;
    while (const dirent* entry = readdir(folder)) {
        const std::string name = entry->d_name;
        if (name[0] == '.') {
            continue;
        }
        ++count;
        const Scenario scenario = Scenario::load(std::string(ZV_SCENARIOS "/") + name);
        Radio radio;
        EXPECT_NO_THROW(setUpRadio(radio, scenario.part("ble"))) << name;
        for (const Json& rule : scenario.part("faults")) {
            EXPECT_NO_THROW(readFaultRule(rule, name));
        }
    }
    closedir(folder);
    EXPECT_GE(count, 8);
}

} // namespace
} // namespace zvcamera
