// The escaping of texts, in the answers that carry them.
#include "errorAnswer.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <random>

using namespace zvtest;

TEST(JsonText, EscapesWhatJsonReserves) {
    EXPECT_EQ(
        R"({"status":"a\"b\\c/\n\r\t\u0001\u001f\u007f","zverr":0,"_function":"","_line":0,"path":"","query":""})",
        bodyWith("a\"b\\c/\n\r\t\x01\x1f\x7f"));
}

TEST(JsonText, KeepsUtf8) {
    EXPECT_EQ("{\"status\":\"\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x93\xB7\",\"zverr\":0,\"_function\":\"\",\"_line\":0,"
              "\"path\":\"\",\"query\":\"\"}",
              bodyWith("\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x93\xB7"));
}

TEST(JsonText, ReplacesWhatIsNotUtf8) {
    const auto status = [](const char* text) {
        const std::string body = bodyWith(text);
        return body.substr(11, body.find("\",\"zverr\"") - 11);
    };
    EXPECT_EQ("\\ufffd", status("\xFF"));
    EXPECT_EQ("\\ufffd", status("\x80"));            // a continuation alone
    EXPECT_EQ("\\ufffdx", status("\xC3x"));          // cut by a letter
    EXPECT_EQ("\\ufffd", status("\xC3"));            // cut by the end
    EXPECT_EQ("\\ufffd\\ufffd", status("\xC0\x80")); // overlong
    EXPECT_EQ("\\ufffd\\ufffd\\ufffd", status("\xE0\x80\x80"));
    EXPECT_EQ("\\ufffd\\ufffd\\ufffd", status("\xED\xA0\x80"));            // a surrogate
    EXPECT_EQ("\\ufffd\\ufffd\\ufffd\\ufffd", status("\xF4\x90\x80\x80")); // beyond the last code point
    EXPECT_EQ("\\ufffd\\ufffd\\ufffd\\ufffd", status("\xF5\x80\x80\x80"));
    EXPECT_EQ("\\ufffd\\ufffd", status("\xE2\x82"));
}

TEST(JsonText, EveryTextIsEscaped) {
    const std::string answer = errorAnswer("\"p", "\"q", 400, 0, "\"m", "\"f", 0);
    EXPECT_EQ(R"({"status":"\"m","zverr":0,"_function":"\"f","_line":0,"path":"\"p","query":"\"q"})",
              answer.substr(sizeof header400 - 1));
}

TEST(JsonText, AJsonParserAcceptsWhateverIsInIt) {
    std::mt19937 random(20240304);
    for (int round = 0; round < 20000; ++round) {
        std::string text(random() % 24, ' ');
        for (char& c : text) {
            c = static_cast<char>(random() % 255 + 1);
        }
        const auto json = nlohmann::json::parse(bodyWith(text));
        ASSERT_EQ(6U, json.size());
        ASSERT_TRUE(json.at("status").is_string());
    }
}

TEST(JsonText, EveryTwoAndThreeByteTextSurvivesWhenItIsUtf8) {
    std::size_t kept = 0;
    for (unsigned first = 1; first < 256; ++first) {
        for (unsigned second = 1; second < 256; ++second) {
            const std::string text{static_cast<char>(first), static_cast<char>(second), '\x80'};
            const auto json = nlohmann::json::parse(bodyWith(text));
            kept += json.at("status").get<std::string>() == text ? 1U : 0U;
        }
    }
    // One of 127 ASCII bytes and a two-byte sequence that ends in 0x80, or a three-byte sequence that ends so.
    EXPECT_EQ(127U * 30U + 32U + 14U * 64U + 32U, kept);
}
