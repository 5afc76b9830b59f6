#include "zvText.h"

#include <clocale>
#include <gtest/gtest.h>

TEST(ZvText, PiecesFollowEachOtherAndAreCountedBeyondTheBuffer) {
    char buffer[6] = {'-', '-', '-', '-', '-', '-'};
    zv::Text text(buffer, 5);
    text.put("%s", "ab");
    EXPECT_STREQ("ab", buffer);
    text.put("%d", 123);
    text.put("%c", 'x');
    EXPECT_STREQ("ab12", buffer);
    EXPECT_EQ('-', buffer[5]);
    EXPECT_EQ(6, text.length());
}

TEST(ZvText, NothingIsWrittenWithoutABuffer) {
    zv::Text text(nullptr, 0);
    text.put("%s", "ab");
    EXPECT_EQ(2, text.length());
}

// Checks lengths, not texts: a text of this length takes minutes.
TEST(ZvText, ResultStopsAtTheLargestNumber) {
    EXPECT_EQ(0, zv::Text::resultOf(0));
    EXPECT_EQ(2147483646, zv::Text::resultOf(0x7FFFFFFE));
    EXPECT_EQ(2147483647, zv::Text::resultOf(0x7FFFFFFF));
    EXPECT_EQ(2147483647, zv::Text::resultOf(0x80000000));
    EXPECT_EQ(2147483647, zv::Text::resultOf(0x100000000));
    EXPECT_EQ(2147483647, zv::Text::resultOf(UINT64_MAX));
}

TEST(ZvText, PiecesThatAreEmptyOrCannotBeFormattedCountNothing) {
    std::setlocale(LC_ALL, "C");
    char buffer[6] = {};
    zv::Text text(buffer, sizeof buffer);
    text.put("%s", "ab");
    text.put("%s", "");
    text.put("%ls", L"\x20AC"); // no such character in this locale
    EXPECT_EQ(2, text.length());
    text.put("%s", "c");
    EXPECT_STREQ("abc", buffer);
}
