#include "bleProtocol.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace zvcam {
namespace {

TEST(BleProtocol, AnAddressIsStoredLeastSignificantByteFirst) {
    const Address address{0xf6, 0xe5, 0xd4, 0xc3, 0xb2, 0xa1};
    EXPECT_EQ(parseAddress("A1B2C3D4E5F6"), address);
    EXPECT_EQ(parseAddress("a1:b2:c3:d4:e5:f6"), address);
    EXPECT_EQ(toText(address), "a1b2c3d4e5f6");
    EXPECT_THROW(parseAddress("a1b2c3d4e5"), std::invalid_argument);
    EXPECT_THROW(parseAddress("a1b2c3d4e5f6a7"), std::invalid_argument);
    EXPECT_THROW(parseAddress("x1b2c3d4e5f6"), std::invalid_argument);
}

TEST(BleProtocol, AUuidIsStoredLeastSignificantByteFirst) {
    EXPECT_EQ(parseUuid("180d", 2), (Bytes{0x0d, 0x18}));
    EXPECT_EQ(parseUuid("00112233-4455-6677-8899-aabbccddeeff", 16),
              (Bytes{0xff, 0xee, 0xdd, 0xcc, 0xbb, 0xaa, 0x99, 0x88, 0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11, 0x00}));
    EXPECT_EQ(uuidText(Bytes{0x0d, 0x18}), "180d");
    EXPECT_THROW(parseUuid("180", 2), std::invalid_argument);
    EXPECT_THROW(parseUuid("180d", 16), std::invalid_argument);
}

TEST(BleProtocol, AScanEntryHoldsNameThen128ThenSixteenBitUuids) {
    ScanEntry entry;
    entry.address = {1, 2, 3, 4, 5, 6};
    entry.addressType = 1;
    entry.rssi = -60;
    entry.name = "Abc";
    entry.uuid16 = {0x0d, 0x18, 0x0f, 0x18};
    entry.uuid128 = Bytes(16, 0x77);
    Bytes bytes;
    appendEntry(bytes, entry);
    Bytes expected{1, 2, 3, 4, 5, 6, 1, 0xc4, 14, 3, 17, 16, 33, 4, 'A', 'b', 'c'};
    expected.insert(expected.end(), 16, 0x77);
    expected.insert(expected.end(), {0x0d, 0x18, 0x0f, 0x18});
    expected.resize(82);
    EXPECT_EQ(bytes, expected);
    EXPECT_EQ(readScanEntry(bytes).name, "Abc");
    EXPECT_EQ(readScanEntry(bytes).uuid16, entry.uuid16);
    EXPECT_EQ(readScanEntry(bytes).uuid128, entry.uuid128);
}

TEST(BleProtocol, ADeviceWithoutNameAndUuidsHasNoOffsets) {
    Bytes bytes;
    appendEntry(bytes, ScanEntry{{1, 2, 3, 4, 5, 6}, 0, 4, "", {}, {}});
    Bytes expected{1, 2, 3, 4, 5, 6, 0, 4};
    expected.resize(82);
    EXPECT_EQ(bytes, expected);
}

TEST(BleProtocol, WhatExceedsAnEntryIsLeftOutInWholeUuids) {
    Bytes bytes;
    appendEntry(bytes, ScanEntry{{}, 0, 0, std::string(60, 'n'), Bytes(6, 1), Bytes(16, 2)});
    ASSERT_EQ(bytes.size(), 82U);
    EXPECT_EQ(bytes[9], 60);
    EXPECT_EQ(bytes[11], 0); // no room for 16 bytes
    EXPECT_EQ(bytes[13], 6);
    appendEntry(bytes, ScanEntry{{}, 0, 0, std::string(67, 'n'), Bytes(6, 1), {}});
    EXPECT_EQ(bytes[82 + 13], 0);
    appendEntry(bytes, ScanEntry{{}, 0, 0, std::string(100, 'n'), {}, {}});
    EXPECT_EQ(bytes.size(), 3U * 82);
    EXPECT_EQ(bytes[2 * 82 + 9], 68);
}

TEST(BleProtocol, AWhitelistEntryHasLittleEndianFlagsAndItsNameAtTen) {
    Bytes bytes;
    appendEntry(bytes, WhitelistEntry{{1, 2, 3, 4, 5, 6}, 0x015a, "Hi"});
    Bytes expected{1, 2, 3, 4, 5, 6, 0x5a, 0x01, 10, 2, 'H', 'i'};
    expected.resize(41);
    EXPECT_EQ(bytes, expected);
    EXPECT_EQ(readWhitelistEntry(bytes).flags, 0x015a);
    EXPECT_EQ(readWhitelistEntry(bytes).name, "Hi");
    appendEntry(bytes, WhitelistEntry{{}, 0, std::string(40, 'n')});
    EXPECT_EQ(bytes.size(), 2U * 41);
    EXPECT_EQ(bytes[41 + 9], 31);
}

TEST(BleProtocol, OffsetsThatLeadOutOfAnEntryYieldWhatLiesInside) {
    Bytes bytes(82, 'x');
    const ScanEntry entry = readScanEntry(bytes); // every offset and length is 120
    EXPECT_EQ(entry.name, "");
    EXPECT_TRUE(entry.uuid16.empty());
    bytes[8] = 80;
    EXPECT_EQ(readScanEntry(bytes).name, "xx");
}

TEST(BleProtocol, CommandsAreKnownByCodeAndName) {
    EXPECT_STREQ(findCommand(std::uint8_t{4})->name, "scan_list");
    EXPECT_EQ(findCommand(std::uint8_t{5}), nullptr);
    EXPECT_EQ(findCommand(std::string_view("whitelist_configure"))->code, BleCode::WhitelistConfigure);
    EXPECT_EQ(findCommand(std::string_view("10"))->code, BleCode::ConfigGet);
    EXPECT_EQ(findCommand(std::string_view("11")), nullptr);
}

} // namespace
} // namespace zvcam
