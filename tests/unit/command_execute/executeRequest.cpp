#include "executeRequest.h"

#include <gtest/gtest.h>
#include <sstream>
#include <string>

namespace {

std::string failure(const std::string& message, int line) {
    return "Status: 400\n\n{\n\"status\":\"" + message +
           "\",\n\"zverr\":-3,\n\"_function\":\"handle_command_execute\",\n\"_line\":" + std::to_string(line) + "\n}\n";
}

class ExecuteRequest : public testing::Test {
protected:
    int read(const std::string& params) {
        entries_ = {};
        return readEntries(params.c_str(), entries_, stream_);
    }

    // The failure status of a request that is refused.
    std::string refused(const std::string& params) {
        stream_.str("");
        EXPECT_EQ(-1, read(params)) << params;
        return stream_.str();
    }

    ExecEntries entries_;
    std::stringstream stream_;
};

TEST_F(ExecuteRequest, ReadsProgramArgumentsAndAction) {
    ASSERT_EQ(1, read("p1=zvStream&c1=start&a1=-x%201"));
    EXPECT_EQ("zvStream", entries_[0].program);
    EXPECT_EQ("-x 1", entries_[0].arguments);
    EXPECT_EQ(0, entries_[0].action);
    EXPECT_EQ("", stream_.str());
}

TEST_F(ExecuteRequest, AbsentArgumentsAreEmpty) {
    ASSERT_EQ(1, read("p1=zvStream&c1=restart"));
    EXPECT_EQ("", entries_[0].arguments);
    EXPECT_EQ(2, entries_[0].action);
}

TEST_F(ExecuteRequest, ActionsAre01And2) {
    ASSERT_EQ(3, read("p1=a&c1=start&p2=b&c2=stop&p3=c&c3=restart"));
    EXPECT_EQ(0, entries_[0].action);
    EXPECT_EQ(1, entries_[1].action);
    EXPECT_EQ(2, entries_[2].action);
}

TEST_F(ExecuteRequest, AMissingFirstProgramIsAnEmptyName) {
    EXPECT_EQ(failure("fail, invalid program name", 134), refused(""));
    EXPECT_EQ(failure("fail, invalid program name", 134), refused("p2=zvStream&c2=start"));
    EXPECT_EQ(failure("fail, invalid program name", 134), refused("p1=&c1=start"));
}

TEST_F(ExecuteRequest, ARequestWithoutQueryFailsTheSameWay) {
    EXPECT_EQ(-1, readEntries(nullptr, entries_, stream_));
    EXPECT_EQ(failure("fail, invalid program name", 134), stream_.str());
}

TEST_F(ExecuteRequest, ALaterEmptyProgramFailsToo) {
    EXPECT_EQ(failure("fail, invalid program name", 134), refused("p1=zvStream&c1=stop&p2=&c2=stop"));
}

TEST_F(ExecuteRequest, AMissingFirstActionIsAnInvalidCommand) {
    EXPECT_EQ(failure("fail, invalid command", 141), refused("p1=zvStream"));
    EXPECT_EQ(failure("fail, invalid command", 141), refused("p1=zvStream&c1="));
    EXPECT_EQ(failure("fail, invalid command", 141), refused("p1=zvStream&c1=stop&p2=zvStream&c2="));
}

TEST_F(ExecuteRequest, ALaterMissingActionFindsTheProgramInItsPlace) {
    EXPECT_EQ(failure("invalid command other", 162), refused("p1=zvStream&c1=stop&p2=other"));
    // A program that is named like an action is read as its own action.
    ASSERT_EQ(2, read("p1=zvStream&c1=stop&p2=restart"));
    EXPECT_EQ(2, entries_[1].action);
}

TEST_F(ExecuteRequest, ActionsAreComparedExactly) {
    EXPECT_EQ(failure("invalid command Start", 162), refused("p1=zvStream&c1=Start"));
    EXPECT_EQ(failure("invalid command start ", 162), refused("p1=zvStream&c1=start%20"));
    EXPECT_EQ(failure("invalid command star", 162), refused("p1=zvStream&c1=star"));
    EXPECT_EQ(failure("invalid command starts", 162), refused("p1=zvStream&c1=starts"));
}

TEST_F(ExecuteRequest, TwoConsecutiveFullStopsAreRefusedAnywhereInTheProgram) {
    EXPECT_EQ(failure("invalid program ../x", 177), refused("p1=../x&c1=start"));
    EXPECT_EQ(failure("invalid program zvStream..", 177), refused("p1=zvStream..&c1=start"));
    EXPECT_EQ(failure("invalid program a..b", 177), refused("p1=a%2e.b&c1=start"));
    EXPECT_EQ(1, read("p1=a.b.c&c1=start&a1=.."));
}

TEST_F(ExecuteRequest, ShellCharactersOfTheProgramAreRefusedAsFarAsTheArgumentsReach) {
    for (const char* name : {";x", "|x", "<x", ">x"}) {
        EXPECT_EQ(failure(std::string("invalid program ") + name, 194),
                  refused(std::string("p1=") + name + "&c1=start&a1=1"));
    }
    EXPECT_EQ(failure("invalid program &x", 194), refused("p1=%26x&c1=start&a1=1"));
    EXPECT_EQ(failure("invalid program abc;", 194), refused("p1=abc;&c1=start&a1=1234"));
}

TEST_F(ExecuteRequest, ShellCharactersBeyondTheArgumentsLengthGoThrough) {
    EXPECT_EQ(1, read("p1=abc;&c1=start&a1=123"));
    EXPECT_EQ(1, read("p1=;|<>&c1=start"));
}

TEST_F(ExecuteRequest, TheArgumentsThemselvesAreNeverExamined) {
    ASSERT_EQ(1, read("p1=zvStream&c1=start&a1=;|<>%26..$(x)`y`"));
    EXPECT_EQ(";|<>&..$(x)`y`", entries_[0].arguments);
}

TEST_F(ExecuteRequest, ArgumentsLongerThanTheProgramAreNotComparedBeyondItsEnd) {
    EXPECT_EQ(1, read("p1=a&c1=start&a1=" + std::string(100000, 'x')));
    EXPECT_EQ(100000U, entries_[0].arguments.size());
}

TEST_F(ExecuteRequest, ReadingStopsAtTheFirstGap) {
    ASSERT_EQ(1, read("p1=one&c1=stop&p3=three&c3=stop"));
    EXPECT_EQ("one", entries_[0].program);
    EXPECT_EQ("", entries_[2].program);
}

TEST_F(ExecuteRequest, WhatFollowsAGapIsNotValidated) {
    EXPECT_EQ(1, read("p1=one&c1=stop&p3=..&c3=nonsense"));
}

TEST_F(ExecuteRequest, ReadsSixteenCommandsAndIgnoresTheSeventeenth) {
    std::string params;
    for (int n = 1; n <= 16; ++n) {
        const std::string number = std::to_string(n);
        params += "&p" + number + "=prog" + number + "&a" + number + "=arg" + number + "&c" + number + "=stop";
    }
    ASSERT_EQ(16, read(params.substr(1) + "&p17=..&c17=nonsense"));
    EXPECT_EQ("prog1", entries_[0].program);
    EXPECT_EQ("prog16", entries_[15].program);
    EXPECT_EQ("arg16", entries_[15].arguments);
    EXPECT_EQ(1, entries_[15].action);
}

TEST_F(ExecuteRequest, TheFirstFailureIsTheOnlyOneWritten) {
    EXPECT_EQ(failure("invalid command x", 162), refused("p1=a&c1=x&p2=..&c2=y"));
    EXPECT_EQ(failure("invalid program ..", 177), refused("p1=a&c1=stop&p2=..&c2=stop&p3=&c3=z"));
}

TEST_F(ExecuteRequest, OfSeveralFailuresOfACommandTheFirstInTheFixedOrderCounts) {
    EXPECT_EQ(failure("fail, invalid program name", 134), refused("p1=&a1=x&c1="));
    EXPECT_EQ(failure("fail, invalid command", 141), refused("p1=..&c1="));
    EXPECT_EQ(failure("invalid command Start", 162), refused("p1=..;&a1=xxx&c1=Start"));
    EXPECT_EQ(failure("invalid program ..;", 177), refused("p1=..;&a1=xxx&c1=start"));
}

TEST_F(ExecuteRequest, LongNamesAreCutInTheMessage) {
    EXPECT_EQ(failure("invalid program .." + std::string(493, 'x'), 177),
              refused("p1=.." + std::string(100000, 'x') + "&c1=start"));
    EXPECT_EQ(failure("invalid command " + std::string(495, 'y'), 162), refused("p1=a&c1=" + std::string(100000, 'y')));
}

} // namespace
