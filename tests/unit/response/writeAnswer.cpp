#include "writeAnswer.h"

#include "outputCapture.h"
#include "scarceMemory.h"
#include "wrappedWrite.h"

#include <cerrno>
#include <cstdio>
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

Answered answer(AnswerStream& stream) {
    const zvtest::OutputCapture output(STDOUT_FILENO);
    const bool written = writeAnswer(stream);
    return {written, output.text()};
}

TEST(WriteAnswer, WritesTheStreamsTextToStandardOutputInOnePiece) {
    watchMemory();
    AnswerStream stream;
    stream << "header" << '\n' << 200 << std::string(2000, 'x');
    const Answered answered = answer(stream);
    EXPECT_TRUE(answered.written);
    EXPECT_EQ("header\n200" + std::string(2000, 'x'), answered.output);
    EXPECT_THAT(wrappedWrite().sizes, ElementsAre(2010));
}

TEST(WriteAnswer, WritesWhatIsLeftOfAnAnswerWithANullText) {
    const char* const nothing = nullptr;
    watchMemory();
    AnswerStream stream;
    stream << "half an ans" << nothing << "wer";
    const Answered answered = answer(stream);
    EXPECT_TRUE(answered.written);
    EXPECT_EQ("half an ans", answered.output);
}

TEST(WriteAnswer, WritesBehindWhatWasPrinted) {
    watchMemory();
    AnswerStream stream;
    stream << "answer";
    const zvtest::OutputCapture output(STDOUT_FILENO);
    std::printf("printed ");
    EXPECT_TRUE(writeAnswer(stream));
    std::printf("first ");
    EXPECT_TRUE(writeOutput("second"));
    EXPECT_EQ("printed answerfirst second", output.text());
}

TEST(WriteAnswer, WritesNothingOfAStreamThatLacksMemory) {
    watchMemory();
    AnswerStream stream;
    {
        const zvtest::ScarceMemory scarce(600);
        stream << std::string(400, 'x') << std::string(400, 'x');
    }
    const Answered answered = answer(stream);
    EXPECT_FALSE(answered.written);
    EXPECT_EQ("", answered.output);
    EXPECT_THAT(wrappedWrite().sizes, ElementsAre());
}

TEST(WriteAnswer, SucceedsAlsoWhenStandardOutputRefuses) {
    watchMemory();
    AnswerStream stream;
    stream << "answer";
    wrappedWrite().script = {{0, EIO}};
    const Answered answered = answer(stream);
    EXPECT_TRUE(answered.written);
    EXPECT_EQ("", answered.output);
    EXPECT_EQ(EIO, takeOutputError());
}

TEST(WriteAnswer, TheFirstRefusalIsKeptUntilItIsTaken) {
    EXPECT_EQ(0, takeOutputError());
    const zvtest::OutputCapture output(STDOUT_FILENO);
    EXPECT_TRUE(writeOutput("first "));
    wrappedWrite().script = {{0, ENOSPC}, {2, 0}, {0, EIO}};
    EXPECT_FALSE(writeOutput("lost "));
    EXPECT_FALSE(writePart(STDOUT_FILENO, "half"));
    EXPECT_TRUE(writePart(STDOUT_FILENO, " last"));
    EXPECT_EQ("first ha last", output.text());
    EXPECT_EQ(ENOSPC, takeOutputError());
    EXPECT_EQ(0, takeOutputError());
}

} // namespace
