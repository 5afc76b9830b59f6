#include "whitelistFile.h"

#include "radio.h"

#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <system_error>

namespace zvcamera {
namespace {

const std::string folder = "/tmp/fuse_d/MISC";
const std::string path = folder + "/ble_whitelist.json";

Slot slot() {
    Slot made;
    made.inUse = true;
    made.address = parseAddress("a1b2c3d4e5f6");
    made.addressType = 1;
    made.name = "Name \"quoted\"";
    made.mitm = true;
    made.autoConnect = true;
    made.connected = true;
    return made;
}

std::string errorOf(const std::string& text) {
    saveWhitelist(path, {});
    std::ofstream(path) << text;
    try {
        loadWhitelist(path);
    } catch (const JsonError& error) {
        return error.what();
    }
    return "";
}

TEST(WhitelistFile, NoFileIsNothing) {
    EXPECT_FALSE(loadWhitelist(path));
}

TEST(WhitelistFile, KeepsSlotsFreeOnesAndTheSettingButNoConnections) {
    Slot free = slot();
    free.inUse = false;
    saveWhitelist(path, {0, {slot(), free, Slot()}});
    const std::optional<KeptWhitelist> kept = loadWhitelist(path);
    ASSERT_TRUE(kept);
    EXPECT_EQ(0, kept->autoConnect);
    ASSERT_EQ(3U, kept->slots.size());
    EXPECT_EQ(0x0058, kept->slots[0].flags());
    EXPECT_EQ("Name \"quoted\"", kept->slots[0].name);
    EXPECT_EQ(1, kept->slots[0].addressType);
    EXPECT_EQ(slot().address, kept->slots[0].address);
    EXPECT_FALSE(kept->slots[1].inUse);
    EXPECT_EQ(slot().address, kept->slots[1].address);
    EXPECT_FALSE(kept->slots[2].inUse);
}

// The name under which a device called so stands in the whitelist after pairing, saving and loading.
std::string keptName(const std::string& name) {
    Radio radio;
    Device device;
    device.address = parseAddress("a1b2c3d4e5f6");
    device.name = name;
    radio.setDevice(device);
    radio.startPairing(device.address, 0, 0);
    radio.advance(radio.settings.pairingTime);
    saveWhitelist(path, {1, radio.whitelist.slots()});
    return loadWhitelist(path)->slots.at(0).name;
}

TEST(WhitelistFile, ALongNameIsCutBetweenItsCharacters) {
    const std::string two = "\xc3\xa9";
    const std::string three = "\xe2\x82\xac";
    const std::string four = "\xf0\x9f\x8e\xa5";
    EXPECT_EQ(std::string(31, 'a'), keptName(std::string(40, 'a')));
    EXPECT_EQ(std::string(29, 'a') + two, keptName(std::string(29, 'a') + two));
    EXPECT_EQ(std::string(30, 'a'), keptName(std::string(30, 'a') + two));
    EXPECT_EQ(std::string(28, 'a') + three, keptName(std::string(28, 'a') + three + "b"));
    EXPECT_EQ(std::string(29, 'a'), keptName(std::string(29, 'a') + three));
    EXPECT_EQ(std::string(30, 'a'), keptName(std::string(30, 'a') + three));
    EXPECT_EQ(std::string(28, 'a'), keptName(std::string(28, 'a') + four));
    EXPECT_EQ(std::string(30, 'a'), keptName(std::string(30, 'a') + four));
}

TEST(WhitelistFile, IsReplacedInOneStep) {
    saveWhitelist(path, {1, {slot()}});
    const std::string link = folder + "/old";
    ASSERT_EQ(0, ::link(path.c_str(), link.c_str()));
    saveWhitelist(path, {1, {}});
    EXPECT_EQ(1U, loadWhitelist(link)->slots.size()); // the old file was not written to
    EXPECT_EQ(0U, loadWhitelist(path)->slots.size());
    struct stat status {};
    EXPECT_NE(0, stat((path + ".new").c_str(), &status));
}

TEST(WhitelistFile, WhatItCannotReadIsNamed) {
    EXPECT_NE("", errorOf("{"));
    EXPECT_EQ(path + ": the document: must be an object", errorOf("[]"));
    EXPECT_EQ(path + ": slots[0].address: odd number of hexadecimal digits",
              errorOf(R"({"slots":[{"address":"xyz"}]})"));
    EXPECT_EQ(path + ": slots[0].address: missing", errorOf(R"({"slots":[{}]})"));
    EXPECT_EQ(path + ": slot: unknown key", errorOf(R"({"slot":[]})"));
}

TEST(WhitelistFile, AFolderThatCannotBeMadeIsAnError) {
    EXPECT_THROW(saveWhitelist("/proc/none/file", {}), std::system_error);
}

TEST(WhitelistFile, NamesAndListsHaveTheirLimits) {
    const auto slotNamed = [](std::size_t length) {
        return R"({"slots":[{"address":"000000000001","name":")" + std::string(length, 'n') + R"("}]})";
    };
    EXPECT_EQ("", errorOf(slotNamed(31)));
    EXPECT_EQ(std::string(path) + ": slots[0].name: longer than the 31 bytes that a slot holds",
              errorOf(slotNamed(32)));
    const auto slots = [](int count) {
        std::string text = "null";
        for (int i = 1; i < count; ++i) {
            text += ",null";
        }
        return "{\"slots\":[" + text + "]}";
    };
    EXPECT_EQ("", errorOf(slots(255)));
    EXPECT_EQ(std::string(path) + ": slots: more than the 255 slots that a list can have", errorOf(slots(256)));
}

} // namespace
} // namespace zvcamera
