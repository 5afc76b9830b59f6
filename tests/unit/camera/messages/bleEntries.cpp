#include "bleEntries.h"

#include <gtest/gtest.h>

namespace zvcamera {
namespace {

TEST(BleEntries, AScanEntryHoldsNameThen128ThenSixteenBitUuids) {
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

TEST(BleEntries, ADeviceWithoutNameAndUuidsHasNoOffsets) {
    Bytes bytes;
    appendEntry(bytes, ScanEntry{{1, 2, 3, 4, 5, 6}, 0, 4, "", {}, {}});
    Bytes expected{1, 2, 3, 4, 5, 6, 0, 4};
    expected.resize(82);
    EXPECT_EQ(expected, bytes);
}

TEST(BleEntries, WhatExceedsAnEntryIsLeftOutInWholeUuids) {
    Bytes bytes;
    appendEntry(bytes, ScanEntry{{}, 0, 0, std::string(60, 'n'), Bytes(6, 1), Bytes(16, 2)});
    ASSERT_EQ(82U, bytes.size());
    EXPECT_EQ(60, bytes[9]);
    EXPECT_EQ(0, bytes[11]); // no room for 16 bytes
    EXPECT_EQ(6, bytes[13]);
    appendEntry(bytes, ScanEntry{{}, 0, 0, std::string(67, 'n'), Bytes(6, 1), {}});
    EXPECT_EQ(0, bytes[82 + 13]);
    appendEntry(bytes, ScanEntry{{}, 0, 0, std::string(100, 'n'), {}, {}});
    EXPECT_EQ(3U * 82, bytes.size());
    EXPECT_EQ(68, bytes[2 * 82 + 9]);
}

TEST(BleEntries, AWhitelistEntryHasLittleEndianFlagsAndItsNameAtTen) {
    Bytes bytes;
    appendEntry(bytes, WhitelistEntry{{1, 2, 3, 4, 5, 6}, 0x015a, "Hi"});
    Bytes expected{1, 2, 3, 4, 5, 6, 0x5a, 0x01, 10, 2, 'H', 'i'};
    expected.resize(41);
    EXPECT_EQ(expected, bytes);
    EXPECT_EQ(0x015a, readWhitelistEntry(bytes).flags);
    EXPECT_EQ("Hi", readWhitelistEntry(bytes).name);
    appendEntry(bytes, WhitelistEntry{{}, 0, std::string(40, 'n')});
    EXPECT_EQ(2U * 41, bytes.size());
    EXPECT_EQ(31, bytes[41 + 9]);
}

TEST(BleEntries, OffsetsThatLeadOutOfAnEntryYieldWhatLiesInside) {
    Bytes bytes(82, 'x');
    const ScanEntry entry = readScanEntry(bytes); // every offset and length is 120
    EXPECT_EQ("", entry.name);
    EXPECT_TRUE(entry.uuid16.empty());
    bytes[8] = 80;
    EXPECT_EQ("xx", readScanEntry(bytes).name);
}

} // namespace
} // namespace zvcamera
