#include "bleQuery.h"

#include <gtest/gtest.h>
#include <locale>
#include <random>
#include <sstream>

namespace {

// What a stream read of an int makes of a text.
bool streamInteger(const std::string& text, int& value) {
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    int read = 0;
    if (!(stream >> read)) {
        return false;
    }
    value = read;
    return true;
}

void expectLikeStream(const std::string& text) {
    int expected = 4711;
    int actual = 4711;
    EXPECT_EQ(streamInteger(text, expected), parseInteger(text, actual)) << "[" << text << "]";
    EXPECT_EQ(expected, actual) << "[" << text << "]";
}

} // namespace

TEST(BleQuery, NullQueryIsEmpty) {
    EXPECT_STREQ("", queryText(nullptr));
    EXPECT_STREQ("p=1", queryText("p=1"));
}

TEST(BleQuery, NullQueryIsShownAsSuch) {
    EXPECT_STREQ("(null)", shownQuery(nullptr));
    EXPECT_STREQ("", shownQuery(""));
    EXPECT_STREQ("p=1", shownQuery("p=1"));
}

TEST(BleQuery, NullQueryHasNoParameters) {
    std::string value = "kept";
    EXPECT_FALSE(findParameter(nullptr, "p=", value));
    EXPECT_EQ("kept", value);
    EXPECT_TRUE(findParameter("a=1&p=2", "p=", value));
    EXPECT_EQ("2", value);
}

TEST(BleQuery, Integers) {
    const struct {
        const char* text;
        int value;
    } rows[] = {
        {"0", 0},
        {"5x", 5},
        {" 7", 7},
        {"\t\n\v\f\r8", 8},
        {"+9", 9},
        {"-1", -1},
        {"-0", 0},
        {"007", 7},
        {"08", 8},
        {"0x1F", 0},
        {"12 34", 12},
        {"3.9", 3},
        {"1,234", 1},
        {"2147483647", 2147483647},
        {"-2147483648", -2147483647 - 1},
        {"00000000000000000001", 1},
    };
    for (const auto& row : rows) {
        int value = 4711;
        EXPECT_TRUE(parseInteger(row.text, value)) << row.text;
        EXPECT_EQ(row.value, value) << row.text;
        expectLikeStream(row.text);
    }
}

TEST(BleQuery, NotIntegers) {
    for (const char* text : {"", " ", "x", "x1", "+", "-", "+-1", "-+1", "--1", "++1", "+ 1", "- 1", ".5", "%31",
                             "2147483648", "-2147483649", "99999999999999999999999999", "\2401"}) {
        int value = 4711;
        EXPECT_FALSE(parseInteger(text, value)) << text;
        EXPECT_EQ(4711, value) << text;
        expectLikeStream(text);
    }
}

TEST(BleQuery, ReadsLikeAStreamWhateverTheText) {
    static constexpr char alphabet[] = "0123456789012345678901234567890 \t\n\v\f\r+-+-xXaf.,'\0\xA0\xFF";
    std::mt19937 random(1); // NOLINT: the same texts every time
    for (int i = 0; i < 200000; ++i) {
        std::string text;
        for (std::size_t length = random() % 14; length > 0; --length) {
            text += alphabet[random() % (sizeof alphabet - 1)];
        }
        expectLikeStream(text);
    }
}
