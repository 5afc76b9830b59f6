#include "writeAnswer.h"

#include "outputCapture.h"
#include "wrappedWrite.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <string>
#include <unistd.h>

namespace {

using testing::ElementsAre;
using zvtest::wrappedWrite;

struct Answered {
    bool written;
    std::string output;
};

Answered answer(const std::stringstream& stream) {
    const zvtest::OutputCapture output(STDOUT_FILENO);
    const bool written = writeAnswer(stream);
    return {written, output.text()};
}

TEST(WriteAnswer, WritesTheStreamsTextToStandardOutputInOnePiece) {
    std::stringstream stream;
    stream << "header" << '\n' << 200 << std::string(2000, 'x');
    const Answered answered = answer(stream);
    EXPECT_TRUE(answered.written);
    EXPECT_EQ("header\n200" + std::string(2000, 'x'), answered.output);
    EXPECT_THAT(wrappedWrite().sizes, ElementsAre(2010));
}

TEST(WriteAnswer, WritesNothingOfAStreamThatIsBad) {
    std::stringstream stream;
    stream << "half an ans";
    stream.setstate(std::ios_base::badbit);
    const Answered answered = answer(stream);
    EXPECT_FALSE(answered.written);
    EXPECT_EQ("", answered.output);
    EXPECT_THAT(wrappedWrite().sizes, ElementsAre());
}

TEST(WriteAnswer, SucceedsAlsoWhenStandardOutputRefuses) {
    std::stringstream stream;
    stream << "answer";
    wrappedWrite().script = {{0, EIO}};
    const Answered answered = answer(stream);
    EXPECT_TRUE(answered.written);
    EXPECT_EQ("", answered.output);
}

} // namespace
