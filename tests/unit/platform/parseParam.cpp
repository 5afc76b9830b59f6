#include "zvCtrlD.h"

#include <gtest/gtest.h>
#include <random>
#include <regex>
#include <string>

namespace {

// The value, or "(none)" when there is none: the output must keep that text.
std::string find(const char* params, const char* key) {
    std::string value = "(none)";
    const int found = parseParam(params, key, value);
    EXPECT_EQ(found != 0, value != "(none)");
    EXPECT_TRUE(found == 0 || found == 1);
    return value;
}

} // namespace

TEST(ParseParam, FindsAKeyAtTheStartOfAnyParameter) {
    EXPECT_EQ("1", find("a=1&b=2&c=3", "a="));
    EXPECT_EQ("2", find("a=1&b=2&c=3", "b="));
    EXPECT_EQ("3", find("a=1&b=2&c=3", "c="));
}

TEST(ParseParam, DoesNotFindAKeyInsideAParameter) {
    EXPECT_EQ("(none)", find("xa=1", "a="));
    EXPECT_EQ("(none)", find("x=a=1", "a="));
    EXPECT_EQ("5", find("xp1=4&p1=5", "p1="));
    EXPECT_EQ("(none)", find("p11=4", "p1="));
    EXPECT_EQ("(none)", find("?a=1", "a="));
}

TEST(ParseParam, TheFirstMatchWins) {
    EXPECT_EQ("1", find("a=1&a=2", "a="));
    EXPECT_EQ("", find("a=&a=2", "a="));
}

TEST(ParseParam, KeysAreCaseSensitive) {
    EXPECT_EQ("(none)", find("A=1", "a="));
}

TEST(ParseParam, AnEmptyValueIsFound) {
    EXPECT_EQ("", find("a=", "a="));
    EXPECT_EQ("", find("a=&b=1", "a="));
}

TEST(ParseParam, AKeyWithoutItsEqualsSignIsNotThere) {
    EXPECT_EQ("(none)", find("a", "a="));
    EXPECT_EQ("(none)", find("a&b=1", "a="));
}

TEST(ParseParam, ValuesReachToTheAmpersand) {
    EXPECT_EQ("1=2;3?x", find("a=1=2;3?x&b=4", "a="));
}

TEST(ParseParam, EmptyParametersAreSkipped) {
    EXPECT_EQ("1", find("&&a=1&&", "a="));
    EXPECT_EQ("(none)", find("&&&", "a="));
    EXPECT_EQ("(none)", find("", "a="));
}

TEST(ParseParam, DecodesEscapes) {
    EXPECT_EQ("A b/&=%", find("a=%41%20b%2F%26%3d%25", "a="));
    EXPECT_EQ("\xFF", find("a=%fF", "a="));
}

TEST(ParseParam, DecodesOnce) {
    EXPECT_EQ("%41", find("a=%2541", "a="));
}

TEST(ParseParam, DoesNotDecodeTheKey) {
    EXPECT_EQ("(none)", find("%61=1", "a="));
}

TEST(ParseParam, MalformedEscapesStay) {
    EXPECT_EQ("%", find("a=%", "a="));
    EXPECT_EQ("%4", find("a=%4", "a="));
    EXPECT_EQ("%g1", find("a=%g1", "a="));
    EXPECT_EQ("%1g", find("a=%1g", "a="));
    EXPECT_EQ("%%41", find("a=%%2541", "a="));
    EXPECT_EQ("%4", find("a=%4&41", "a="));
    EXPECT_EQ("%A", find("a=%%41", "a="));
    EXPECT_EQ("% 1", find("a=% 1", "a="));
    EXPECT_EQ("%-1", find("a=%-1", "a="));
}

TEST(ParseParam, AnEscapedZeroByteStays) {
    EXPECT_EQ("%00x", find("a=%00x", "a="));
    EXPECT_EQ("x%00", find("a=x%00", "a="));
}

TEST(ParseParam, PlusStaysPlus) {
    EXPECT_EQ("1+1", find("a=1+1", "a="));
    EXPECT_EQ("+", find("a=%2b", "a="));
}

TEST(ParseParam, NothingIsFoundWithoutTextOrKey) {
    EXPECT_EQ("(none)", find(nullptr, "a="));
    EXPECT_EQ("(none)", find("a=1", nullptr));
    EXPECT_EQ("(none)", find("a=1", ""));
}

TEST(ParseParam, TheKeyMayBeLongerThanTheText) {
    EXPECT_EQ("(none)", find("a", "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa="));
}

TEST(ParseParam, LongValuesAreWhole) {
    const std::string longText(200000, 'x');
    EXPECT_EQ(longText, find(("b=1&a=" + longText).c_str(), "a="));
}

TEST(ParseParam, TheOutputMayBeThePartOfTheInput) {
    std::string value = "a=%41&b=2";
    EXPECT_EQ(1, parseParam(value.c_str(), "a=", value));
    EXPECT_EQ("A", value);
}

namespace {

// The same rule by regular expressions: one finds the parameter, another one each escape.
std::string found(const std::string& text) {
    static const std::regex parameter("(?:^|&)a=([^&]*)");
    static const std::regex escape("%(?!00)([0-9a-fA-F]{2})");
    std::smatch match;
    if (!std::regex_search(text, match, parameter)) {
        return "(none)";
    }
    const std::string raw = match[1];
    std::string value;
    auto rest = raw.begin();
    for (std::sregex_iterator at(raw.begin(), raw.end(), escape), none; at != none; ++at) {
        value.append(rest, (*at)[0].first);
        value += static_cast<char>(std::stoi((*at)[1], nullptr, 16));
        rest = (*at)[0].second;
    }
    return value.append(rest, raw.end());
}

} // namespace

TEST(ParseParam, RandomTextsReadAsTheRuleSays) {
    std::mt19937 random(20240303);
    constexpr char alphabet[] = "a=&%04f+\xC3";
    int values = 0;
    for (int round = 0; round < 20000; ++round) {
        std::string text(random() % 20, ' ');
        for (char& c : text) {
            c = alphabet[random() % (sizeof alphabet - 1)];
        }
        const std::string expected = found(text);
        ASSERT_EQ(expected, find(text.c_str(), "a=")) << text;
        values += expected == "(none)" ? 0 : 1;
    }
    EXPECT_GT(values, 100);
}
