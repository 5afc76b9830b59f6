// Error answers as text.
#pragma once

#include "zvCtrlD.h"

#include <gtest/gtest.h>
#include <sstream>
#include <string>

namespace zvtest {

// What http_print_error_response_ex writes.
inline std::string errorAnswer(const char* path, const char* params, int status, int code, const char* message,
                               const char* function, int line) {
    std::stringstream stream;
    http_print_error_response_ex(stream, path, params, status, code, message, function, line);
    EXPECT_TRUE(stream.good());
    return stream.str();
}

inline constexpr char header400[] = "Status: 400 Bad Request\r\nContent-Type: application/json\r\n\r\n";

// The body of an error answer that has the text as its message.
inline std::string bodyWith(const std::string& message) {
    const std::string answer = errorAnswer("", "", 400, 0, message.c_str(), "", 0);
    EXPECT_EQ(0U, answer.rfind(header400, 0));
    return answer.substr(sizeof header400 - 1);
}

// The first line of an error answer with the status.
inline std::string statusLine(int status) {
    const std::string answer = errorAnswer("", "", status, 0, "", "", 0);
    return answer.substr(0, answer.find("\r\n"));
}

} // namespace zvtest
