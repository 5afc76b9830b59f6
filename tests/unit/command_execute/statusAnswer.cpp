#include "statusAnswer.h"

#include <gtest/gtest.h>
#include <sstream>
#include <string>

namespace {

TEST(StatusAnswer, HeaderIsOneLine) {
    std::stringstream stream;
    write_header(stream);
    EXPECT_EQ("Content-type: application/json\n", stream.str());
}

TEST(StatusAnswer, FailureStatusPieceByPiece) {
    std::stringstream stream;
    write_status_error(stream, "fail, invalid param", "handle_command_execute", 97);
    EXPECT_EQ("Status: 400\n\n{\n\"status\":\"fail, invalid param\",\n\"zverr\":-3,\n"
              "\"_function\":\"handle_command_execute\",\n\"_line\":97\n}\n",
              stream.str());
}

TEST(StatusAnswer, FailureMessageIsNotEscaped) {
    std::stringstream stream;
    write_status_error(stream, "a\"b\\c\nd", "f", 1);
    EXPECT_EQ("Status: "
              "400\n\n{\n\"status\":\"a\"b\\c\nd\",\n\"zverr\":-3,\n\"_function\":\"f\",\n\"_line\":1\n}\n",
              stream.str());
}

TEST(StatusAnswer, SuccessStatus) {
    std::stringstream stream;
    write_status_ok(stream);
    EXPECT_EQ("Status: 200\n\n{\"status\":\"0\"}\n\n", stream.str());
}

TEST(StatusAnswer, MessagesAreCutTo511Characters) {
    const std::string name(600, 'n');
    EXPECT_EQ("invalid program " + std::string(495, 'n'), formatMessage("invalid program %s", name.c_str()));
    const std::string fits(495, 'm');
    EXPECT_EQ("invalid program " + fits, formatMessage("invalid program %s", fits.c_str()));
}

} // namespace
