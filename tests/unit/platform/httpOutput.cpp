#include "errorAnswer.h"
#include "zvCtrlD.h"

#include <climits>
#include <gtest/gtest.h>
#include <sstream>

using namespace zvtest;

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
