#include "printable.h"

#include <gtest/gtest.h>

using zvcamera::printable;

TEST(Printable, TextStaysAsItIs) {
    EXPECT_EQ("", printable(""));
    EXPECT_EQ(" a\\n\"~", printable(" a\\n\"~"));
    EXPECT_EQ("\xC3\xA4 \xC2\xA0 \xE2\x82\xAC \xF0\x9F\x93\xB7",
              printable("\xC3\xA4 \xC2\xA0 \xE2\x82\xAC \xF0\x9F\x93\xB7"));
}

TEST(Printable, ControlCharactersBecomeNumbers) {
    EXPECT_EQ("\\x1b]0;title\\x07", printable("\x1b]0;title\x07"));
    EXPECT_EQ("\\x00\\x1f\\x7f", printable(std::string_view("\0\x1f\x7f", 3)));
    EXPECT_EQ("a\\nb\\x0d\\x09", printable("a\nb\r\t"));
}

TEST(Printable, ThoseBeyondAsciiAsWell) {
    EXPECT_EQ("\\x80 \\x9b31m \\x9f", printable("\xC2\x80 \xC2\x9B"
                                                "31m \xC2\x9F"));
    EXPECT_EQ("\xC2", printable("\xC2"));
    EXPECT_EQ("\xC2\\x1b", printable("\xC2\x1b"));
}
