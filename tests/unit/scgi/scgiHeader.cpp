#include "scgiHeader.h"

#include "scgiClient.h"

#include <gmock/gmock.h>
#include <vector>

namespace {

using testing::ElementsAre;
using zvtest::netstring;
using zvtest::scgiVariables;

using Progress = ScgiFrame::Progress;

// What becomes of bytes that arrive at once, and one by one.
Progress progressOf(const std::string& bytes) {
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        const Progress progress = findScgiHeader({bytes.data(), size}).progress;
        if (progress != Progress::Part) {
            return progress;
        }
    }
    return findScgiHeader(bytes).progress;
}

TEST(ScgiHeader, IsFoundBetweenItsLengthAndTheComma) {
    const ScgiFrame frame = findScgiHeader("12:abcdefghijkl,the body");
    EXPECT_EQ(Progress::Whole, frame.progress);
    EXPECT_EQ(3U, frame.begin);
    EXPECT_EQ(12U, frame.size);
}

TEST(ScgiHeader, IsWholeWithTheComma) {
    EXPECT_EQ(Progress::Part, progressOf(""));
    EXPECT_EQ(Progress::Part, progressOf("1"));
    EXPECT_EQ(Progress::Part, progressOf("12"));
    EXPECT_EQ(Progress::Part, progressOf("12:"));
    EXPECT_EQ(Progress::Part, progressOf("12:abcdefghijk"));
    EXPECT_EQ(Progress::Part, progressOf("12:abcdefghijkl"));
    EXPECT_EQ(Progress::Whole, progressOf("12:abcdefghijkl,"));
}

TEST(ScgiHeader, NeedsALength) {
    for (const char* const bytes : {":", "GET / HTTP/1.0", "-1:", "+1:", " 1:", "1 :", "1;", "\n", "x"}) {
        EXPECT_EQ(Progress::Malformed, progressOf(bytes)) << bytes;
    }
}

TEST(ScgiHeader, ALengthBeginsWithNoZero) {
    EXPECT_EQ(Progress::Malformed, progressOf("0:,"));
    EXPECT_EQ(Progress::Malformed, progressOf("012:abcdefghijkl,"));
}

TEST(ScgiHeader, IsNoLongerThanTheLimit) {
    EXPECT_EQ(Progress::Part, progressOf("262144:"));
    EXPECT_EQ(Progress::Malformed, progressOf("262145"));
    EXPECT_EQ(Progress::Malformed, progressOf("99999999999999999999999999"));
    EXPECT_EQ(Progress::Whole, findScgiHeader(netstring(std::string(262144, 'x'))).progress);
    EXPECT_EQ(scgiNetstringMost, netstring(std::string(262144, 'x')).size());
}

TEST(ScgiHeader, EndsWithAComma) {
    EXPECT_EQ(Progress::Malformed, progressOf("3:abc;"));
}

// An environment made of a header, or what is wrong with it.
struct Made {
    explicit Made(std::string text, std::size_t room = 9) : header(std::move(text)), variables(room) {
        wrong = makeScgiEnvironment(header, variables, length);
    }
    std::vector<std::string> texts() const {
        std::vector<std::string> all;
        for (const char* const* text = variables.data(); *text != nullptr; ++text) {
            all.emplace_back(*text);
        }
        return all;
    }

    std::string header;
    std::vector<char*> variables;
    std::size_t length = 99;
    const char* wrong = nullptr;
};

TEST(ScgiEnvironment, HasTheVariablesInTheirOrder) {
    const Made made(
        scgiVariables({{"CONTENT_LENGTH", "27"}, {"SCGI", "1"}, {"PATH_INFO", "/a=b"}, {"QUERY_STRING", ""}}));
    EXPECT_EQ(nullptr, made.wrong);
    EXPECT_EQ(27U, made.length);
    EXPECT_THAT(made.texts(), ElementsAre("CONTENT_LENGTH=27", "SCGI=1", "PATH_INFO=/a=b", "QUERY_STRING="));
}

TEST(ScgiEnvironment, TakesThemInAnyOrder) {
    const Made made(scgiVariables({{"A", "b"}, {"SCGI", "1"}, {"CONTENT_LENGTH", "0"}}));
    EXPECT_EQ(nullptr, made.wrong);
    EXPECT_EQ(0U, made.length);
    EXPECT_THAT(made.texts(), ElementsAre("A=b", "SCGI=1", "CONTENT_LENGTH=0"));
}

TEST(ScgiEnvironment, OfSeveralOfOneNameTheFirstCounts) {
    const Made made(scgiVariables({{"CONTENT_LENGTH", "1"}, {"SCGI", "1"}, {"CONTENT_LENGTH", "2"}, {"SCGI", "2"}}));
    EXPECT_EQ(nullptr, made.wrong);
    EXPECT_EQ(1U, made.length);
}

TEST(ScgiEnvironment, NeedsTheProtocol) {
    EXPECT_STREQ("its header has no SCGI=1", Made(scgiVariables({{"CONTENT_LENGTH", "0"}})).wrong);
    EXPECT_STREQ("its header has no SCGI=1", Made(scgiVariables({{"CONTENT_LENGTH", "0"}, {"SCGI", "2"}})).wrong);
}

TEST(ScgiEnvironment, NeedsALength) {
    EXPECT_STREQ("its header has no CONTENT_LENGTH", Made(scgiVariables({{"SCGI", "1"}})).wrong);
    for (const char* const length : {"", "x", "1x", "-1", "+1", " 1", "99999999999999999999999"}) {
        const Made made(scgiVariables({{"CONTENT_LENGTH", length}, {"SCGI", "1"}}));
        EXPECT_STREQ("its header has no CONTENT_LENGTH", made.wrong) << length;
    }
}

TEST(ScgiEnvironment, EachVariableHasAName) {
    EXPECT_STREQ("a variable of its header has no name", Made(scgiVariables({{"", "a"}})).wrong);
    EXPECT_STREQ("a variable of its header has no name", Made(scgiVariables({{"A=B", "a"}})).wrong);
}

TEST(ScgiEnvironment, EachVariableEnds) {
    EXPECT_STREQ("a variable of its header does not end", Made("A").wrong);
    EXPECT_STREQ("a variable of its header does not end", Made(std::string("A\0", 2)).wrong);
    EXPECT_STREQ("a variable of its header does not end", Made(std::string("A\0b", 3)).wrong);
}

TEST(ScgiEnvironment, HasRoomForTheNullPointer) {
    const std::string three = scgiVariables({{"CONTENT_LENGTH", "1"}, {"SCGI", "1"}, {"A", "b"}});
    EXPECT_EQ(nullptr, Made(three, 4).wrong);
    EXPECT_STREQ("its header has too many variables", Made(three, 3).wrong);
}

} // namespace
