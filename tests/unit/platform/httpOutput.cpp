#include "zvCtrlD.h"

#include <climits>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>

namespace {

std::string errorAnswer(const char* path, const char* params, int status, int code, const char* message,
                        const char* function, int line) {
    std::stringstream stream;
    http_print_error_response_ex(stream, path, params, status, code, message, function, line);
    EXPECT_TRUE(stream.good());
    return stream.str();
}

constexpr char header400[] = "Status: 400 Bad Request\r\nContent-Type: application/json\r\n\r\n";

// The body of an error answer with the text as its message.
std::string bodyWith(const std::string& message) {
    const std::string answer = errorAnswer("", "", 400, 0, message.c_str(), "", 0);
    EXPECT_EQ(0U, answer.rfind(header400, 0));
    return answer.substr(sizeof header400 - 1);
}

std::string statusLine(int status) {
    const std::string answer = errorAnswer("", "", status, 0, "", "", 0);
    return answer.substr(0, answer.find("\r\n"));
}

} // namespace

TEST(HttpOutput, SuccessHeader) {
    std::stringstream stream;
    http_output_success_header(stream);
    EXPECT_EQ("Status: 200 OK\r\nContent-Type: application/json\r\n\r\n", stream.str());
}

TEST(HttpOutput, EmptyJson) {
    std::stringstream stream;
    http_output_empty_json(stream);
    EXPECT_EQ("{}", stream.str());
}

TEST(HttpOutput, ErrorAnswerByteForByte) {
    EXPECT_EQ("Status: 400 Bad Request\r\n"
              "Content-Type: application/json\r\n"
              "\r\n"
              "{\"status\":\"unknown request\",\"zverr\":-3,\"_function\":\"main\",\"_line\":143,"
              "\"path\":\"/command/x\",\"query\":\"a=1&b=2\"}",
              errorAnswer("/command/x", "a=1&b=2", 400, -3, "unknown request", "main", 143));
}

TEST(HttpOutput, NullTextsAreEmpty) {
    EXPECT_EQ("Status: 500 Internal Server Error\r\nContent-Type: application/json\r\n\r\n"
              "{\"status\":\"\",\"zverr\":-1,\"_function\":\"\",\"_line\":0,\"path\":\"\",\"query\":\"\"}",
              errorAnswer(nullptr, nullptr, 500, -1, nullptr, nullptr, 0));
}

TEST(HttpOutput, NumbersAreWhole) {
    EXPECT_EQ("Status: 403 Forbidden\r\nContent-Type: application/json\r\n\r\n"
              "{\"status\":\"\",\"zverr\":-2147483648,\"_function\":\"\",\"_line\":2147483647,\"path\":\"\","
              "\"query\":\"\"}",
              errorAnswer("", "", 403, INT_MIN, "", "", INT_MAX));
}

TEST(HttpOutput, TheStreamsOwnFormatsDoNotCount) {
    std::stringstream stream;
    stream.width(40);
    stream.setf(std::ios::hex, std::ios::basefield);
    http_output_success_header(stream);
    http_print_error_response_ex(stream, "", "", 500, 255, "m", "f", 255);
    EXPECT_EQ("Status: 200 OK\r\nContent-Type: application/json\r\n\r\n"
              "Status: 500 Internal Server Error\r\nContent-Type: application/json\r\n\r\n"
              "{\"status\":\"m\",\"zverr\":255,\"_function\":\"f\",\"_line\":255,\"path\":\"\",\"query\":\"\"}",
              stream.str());
}

TEST(HttpOutput, ReasonsOfTheUsualStatuses) {
    EXPECT_EQ("Status: 200 OK", statusLine(200));
    EXPECT_EQ("Status: 202 Accepted", statusLine(202));
    EXPECT_EQ("Status: 204 No Content", statusLine(204));
    EXPECT_EQ("Status: 302 Found", statusLine(302));
    EXPECT_EQ("Status: 304 Not Modified", statusLine(304));
    EXPECT_EQ("Status: 400 Bad Request", statusLine(400));
    EXPECT_EQ("Status: 401 Unauthorized", statusLine(401));
    EXPECT_EQ("Status: 403 Forbidden", statusLine(403));
    EXPECT_EQ("Status: 404 Not Found", statusLine(404));
    EXPECT_EQ("Status: 405 Method Not Allowed", statusLine(405));
    EXPECT_EQ("Status: 408 Request Timeout", statusLine(408));
    EXPECT_EQ("Status: 409 Conflict", statusLine(409));
    EXPECT_EQ("Status: 429 Too Many Requests", statusLine(429));
    EXPECT_EQ("Status: 500 Internal Server Error", statusLine(500));
    EXPECT_EQ("Status: 501 Not Implemented", statusLine(501));
    EXPECT_EQ("Status: 503 Service Unavailable", statusLine(503));
    EXPECT_EQ("Status: 504 Gateway Timeout", statusLine(504));
}

TEST(HttpOutput, UnassignedStatusesBearTheirClass) {
    EXPECT_EQ("Status: 199 Informational", statusLine(199));
    EXPECT_EQ("Status: 299 Success", statusLine(299));
    EXPECT_EQ("Status: 399 Redirection", statusLine(399));
    EXPECT_EQ("Status: 499 Client Error", statusLine(499));
    EXPECT_EQ("Status: 599 Server Error", statusLine(599));
}

TEST(HttpOutput, WhatIsNoStatusIsAServerError) {
    for (const int status : {INT_MIN, -200, 0, 99, 600, 1000, INT_MAX}) {
        EXPECT_EQ("Status: 500 Internal Server Error", statusLine(status)) << status;
    }
}

TEST(HttpOutput, EscapesWhatJsonReserves) {
    EXPECT_EQ(
        R"({"status":"a\"b\\c/\n\r\t\u0001\u001f\u007f","zverr":0,"_function":"","_line":0,"path":"","query":""})",
        bodyWith("a\"b\\c/\n\r\t\x01\x1f\x7f"));
}

TEST(HttpOutput, KeepsUtf8) {
    EXPECT_EQ("{\"status\":\"\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x93\xB7\",\"zverr\":0,\"_function\":\"\",\"_line\":0,"
              "\"path\":\"\",\"query\":\"\"}",
              bodyWith("\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x93\xB7"));
}

TEST(HttpOutput, ReplacesWhatIsNotUtf8) {
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

TEST(HttpOutput, EveryTextIsEscaped) {
    const std::string answer = errorAnswer("\"p", "\"q", 400, 0, "\"m", "\"f", 0);
    EXPECT_EQ(R"({"status":"\"m","zverr":0,"_function":"\"f","_line":0,"path":"\"p","query":"\"q"})",
              answer.substr(sizeof header400 - 1));
}

TEST(HttpOutput, AJsonParserAcceptsWhateverIsInIt) {
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

TEST(HttpOutput, EveryTwoAndThreeByteTextSurvivesWhenItIsUtf8) {
    std::size_t kept = 0;
    for (unsigned first = 1; first < 256; ++first) {
        for (unsigned second = 1; second < 256; ++second) {
            const std::string text{static_cast<char>(first), static_cast<char>(second), '\x80'};
            const auto json = nlohmann::json::parse(bodyWith(text));
            kept += json.at("status").get<std::string>() == text ? 1U : 0U;
        }
    }
    // A two-byte sequence that ends in 0x80 behind one of the 127 ASCII bytes, or a three-byte sequence.
    EXPECT_EQ(127U * 30U + 32U + 14U * 64U + 32U, kept);
}
