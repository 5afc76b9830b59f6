#include "listEntry.h"

#include "queuePeer.h"

#include <gtest/gtest.h>

using zvtest::Bytes;

namespace {

const Bytes entry = {0, 1, 'a', 'b', 'c', 0, 'd', 0xAB, 0x0D, 0x18};

std::string name(std::uint8_t offset, std::uint8_t size) {
    std::string text = "<";
    appendName(text, entry, offset, size);
    return text + ">";
}

std::string items(std::uint8_t offset, std::uint8_t length, int width) {
    return uuidItems(entry, offset, length, width);
}

} // namespace

TEST(ListEntry, NameEndsAtItsSize) {
    EXPECT_EQ("<ab>", name(2, 2));
    EXPECT_EQ("<abc>", name(2, 3));
}

TEST(ListEntry, NameEndsAtAZeroByte) {
    EXPECT_EQ("<abc>", name(2, 200));
    EXPECT_EQ("<>", name(5, 3));
}

TEST(ListEntry, NoNameWithoutOffsetOrSize) {
    EXPECT_EQ("<>", name(0, 5));
    EXPECT_EQ("<>", name(2, 0));
}

TEST(ListEntry, NameEndsAtTheBuffersEnd) {
    EXPECT_EQ("<d\xAB\x0D\x18>", name(6, 255));
    EXPECT_EQ("<\x18>", name(9, 255));
    EXPECT_EQ("<>", name(10, 255));
    EXPECT_EQ("<>", name(255, 255));
}

TEST(ListEntry, ItemsAreWrittenAsTheyAreStored) {
    EXPECT_EQ("\"0d18\"", items(8, 2, 2));
    EXPECT_EQ("\"6162\",\"6300\"", items(2, 4, 2));
}

TEST(ListEntry, NoItemsWithoutOffsetOrLength) {
    EXPECT_EQ("", items(0, 4, 2));
    EXPECT_EQ("", items(2, 0, 2));
}

TEST(ListEntry, TrailingPartialItemIsReadWhole) {
    EXPECT_EQ("\"6162\",\"6300\"", items(2, 3, 2));
    EXPECT_EQ("\"61626300\"", items(2, 1, 4));
}

TEST(ListEntry, ItemAcrossTheBuffersEndIsLeftOut) {
    EXPECT_EQ("\"ab0d\"", items(7, 4, 2));
    EXPECT_EQ("", items(9, 2, 2));
    EXPECT_EQ("", items(255, 255, 16));
}
