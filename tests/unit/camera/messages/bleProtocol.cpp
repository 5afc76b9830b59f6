#include "bleProtocol.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace zvcamera {
namespace {

TEST(BleProtocol, AnAddressIsStoredLeastSignificantByteFirst) {
    const Address address{0xf6, 0xe5, 0xd4, 0xc3, 0xb2, 0xa1};
    EXPECT_EQ(address, parseAddress("A1B2C3D4E5F6"));
    EXPECT_EQ(address, parseAddress("a1:b2:c3:d4:e5:f6"));
    EXPECT_EQ("a1b2c3d4e5f6", toText(address));
    EXPECT_THROW(parseAddress("a1b2c3d4e5"), std::invalid_argument);
    EXPECT_THROW(parseAddress("a1b2c3d4e5f6a7"), std::invalid_argument);
    EXPECT_THROW(parseAddress("x1b2c3d4e5f6"), std::invalid_argument);
}

TEST(BleProtocol, AUuidIsStoredLeastSignificantByteFirst) {
    EXPECT_EQ((Bytes{0x0d, 0x18}), parseUuid("180d", 2));
    EXPECT_EQ((Bytes{0xff, 0xee, 0xdd, 0xcc, 0xbb, 0xaa, 0x99, 0x88, 0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11, 0x00}),
              parseUuid("00112233-4455-6677-8899-aabbccddeeff", 16));
    EXPECT_EQ("180d", uuidText(Bytes{0x0d, 0x18}));
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
    EXPECT_EQ(expected, bytes);
    EXPECT_EQ("Abc", readScanEntry(bytes).name);
    EXPECT_EQ(entry.uuid16, readScanEntry(bytes).uuid16);
    EXPECT_EQ(entry.uuid128, readScanEntry(bytes).uuid128);
}

TEST(BleProtocol, ADeviceWithoutNameAndUuidsHasNoOffsets) {
    Bytes bytes;
    appendEntry(bytes, ScanEntry{{1, 2, 3, 4, 5, 6}, 0, 4, "", {}, {}});
    Bytes expected{1, 2, 3, 4, 5, 6, 0, 4};
    expected.resize(82);
    EXPECT_EQ(expected, bytes);
}

TEST(BleProtocol, WhatExceedsAnEntryIsLeftOutInWholeUuids) {
    Bytes bytes;
    appendEntry(bytes, ScanEntry{{}, 0, 0, std::string(60, 'n'), Bytes(6, 1), Bytes(16, 2)});
    ASSERT_EQ(82U, bytes.size());
    EXPECT_EQ(60, bytes[9]);
    EXPECT_EQ(0, bytes[11]); // no room for 16 bytes
    EXPECT_EQ(6, bytes[13]);
    appendEntry(bytes, ScanEntry{{}, 0, 0, std::string(67, 'n'), Bytes(6, 1), {}});
    EXPECT_EQ(0, bytes[82 + 13]);
    appendEntry(bytes, ScanEntry{{}, 0, 0, std::string(100, 'n'), {}, {}});
    EXPECT_EQ(bytes.size(), 3U * 82);
    EXPECT_EQ(68, bytes[2 * 82 + 9]);
}

TEST(BleProtocol, AWhitelistEntryHasLittleEndianFlagsAndItsNameAtTen) {
    Bytes bytes;
    appendEntry(bytes, WhitelistEntry{{1, 2, 3, 4, 5, 6}, 0x015a, "Hi"});
    Bytes expected{1, 2, 3, 4, 5, 6, 0x5a, 0x01, 10, 2, 'H', 'i'};
    expected.resize(41);
    EXPECT_EQ(expected, bytes);
    EXPECT_EQ(0x015a, readWhitelistEntry(bytes).flags);
    EXPECT_EQ("Hi", readWhitelistEntry(bytes).name);
    appendEntry(bytes, WhitelistEntry{{}, 0, std::string(40, 'n')});
    EXPECT_EQ(bytes.size(), 2U * 41);
    EXPECT_EQ(31, bytes[41 + 9]);
}

TEST(BleProtocol, OffsetsThatLeadOutOfAnEntryYieldWhatLiesInside) {
    Bytes bytes(82, 'x');
    const ScanEntry entry = readScanEntry(bytes); // every offset and length is 120
    EXPECT_EQ("", entry.name);
    EXPECT_TRUE(entry.uuid16.empty());
    bytes[8] = 80;
    EXPECT_EQ("xx", readScanEntry(bytes).name);
}

TEST(BleProtocol, CommandsAreKnownByCodeAndName) {
    EXPECT_STREQ("scan_list", findCommand(std::uint8_t{4})->name);
    EXPECT_EQ(nullptr, findCommand(std::uint8_t{5}));
    EXPECT_EQ(BleCode::WhitelistConfigure, findCommand(std::string_view("whitelist_configure"))->code);
    EXPECT_EQ(BleCode::ConfigGet, findCommand(std::string_view("10"))->code);
    EXPECT_EQ(nullptr, findCommand(std::string_view("11")));
}

} // namespace
} // namespace zvcamera
