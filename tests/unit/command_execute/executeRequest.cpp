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
        entries = {};
        return read_entries(params.c_str(), entries, stream);
    }

    // The failure status of a request that is refused.
    std::string refused(const std::string& params) {
        stream.str("");
        EXPECT_EQ(read(params), -1) << params;
        return stream.str();
    }

    ExecEntries entries;
    std::stringstream stream;
};

TEST_F(ExecuteRequest, ReadsProgramArgumentsAndAction) {
    ASSERT_EQ(read("p1=zvStream&c1=start&a1=-x%201"), 1);
    EXPECT_EQ(entries[0].program, "zvStream");
    EXPECT_EQ(entries[0].arguments, "-x 1");
    EXPECT_EQ(entries[0].action, 0);
    EXPECT_EQ(stream.str(), "");
}

TEST_F(ExecuteRequest, AbsentArgumentsAreEmpty) {
    ASSERT_EQ(read("p1=zvStream&c1=restart"), 1);
    EXPECT_EQ(entries[0].arguments, "");
    EXPECT_EQ(entries[0].action, 2);
}

TEST_F(ExecuteRequest, ActionsAre01And2) {
    ASSERT_EQ(read("p1=a&c1=start&p2=b&c2=stop&p3=c&c3=restart"), 3);
    EXPECT_EQ(entries[0].action, 0);
    EXPECT_EQ(entries[1].action, 1);
    EXPECT_EQ(entries[2].action, 2);
}

TEST_F(ExecuteRequest, AMissingFirstProgramIsAnEmptyName) {
    EXPECT_EQ(refused(""), failure("fail, invalid program name", 134));
    EXPECT_EQ(refused("p2=zvStream&c2=start"), failure("fail, invalid program name", 134));
    EXPECT_EQ(refused("p1=&c1=start"), failure("fail, invalid program name", 134));
}

TEST_F(ExecuteRequest, ARequestWithoutQueryFailsTheSameWay) {
    EXPECT_EQ(read_entries(nullptr, entries, stream), -1);
    EXPECT_EQ(stream.str(), failure("fail, invalid program name", 134));
}

TEST_F(ExecuteRequest, ALaterEmptyProgramFailsToo) {
    EXPECT_EQ(refused("p1=zvStream&c1=stop&p2=&c2=stop"), failure("fail, invalid program name", 134));
}

TEST_F(ExecuteRequest, AMissingFirstActionIsAnInvalidCommand) {
    EXPECT_EQ(refused("p1=zvStream"), failure("fail, invalid command", 141));
    EXPECT_EQ(refused("p1=zvStream&c1="), failure("fail, invalid command", 141));
    EXPECT_EQ(refused("p1=zvStream&c1=stop&p2=zvStream&c2="), failure("fail, invalid command", 141));
}

TEST_F(ExecuteRequest, ALaterMissingActionFindsTheProgramInItsPlace) {
    EXPECT_EQ(refused("p1=zvStream&c1=stop&p2=other"), failure("invalid command other", 162));
    // Which is an action, if the program is named like one.
    ASSERT_EQ(read("p1=zvStream&c1=stop&p2=restart"), 2);
    EXPECT_EQ(entries[1].action, 2);
}

TEST_F(ExecuteRequest, ActionsAreComparedExactly) {
    EXPECT_EQ(refused("p1=zvStream&c1=Start"), failure("invalid command Start", 162));
    EXPECT_EQ(refused("p1=zvStream&c1=start%20"), failure("invalid command start ", 162));
    EXPECT_EQ(refused("p1=zvStream&c1=star"), failure("invalid command star", 162));
    EXPECT_EQ(refused("p1=zvStream&c1=starts"), failure("invalid command starts", 162));
}

TEST_F(ExecuteRequest, TwoConsecutiveFullStopsAreRefusedAnywhereInTheProgram) {
    EXPECT_EQ(refused("p1=../x&c1=start"), failure("invalid program ../x", 177));
    EXPECT_EQ(refused("p1=zvStream..&c1=start"), failure("invalid program zvStream..", 177));
    EXPECT_EQ(refused("p1=a%2e.b&c1=start"), failure("invalid program a..b", 177));
    EXPECT_EQ(read("p1=a.b.c&c1=start&a1=.."), 1);
}

TEST_F(ExecuteRequest, ShellCharactersOfTheProgramAreRefusedAsFarAsTheArgumentsReach) {
    for (const char* name : {";x", "|x", "<x", ">x"}) {
        EXPECT_EQ(refused(std::string("p1=") + name + "&c1=start&a1=1"),
                  failure(std::string("invalid program ") + name, 194));
    }
    EXPECT_EQ(refused("p1=%26x&c1=start&a1=1"), failure("invalid program &x", 194));
    EXPECT_EQ(refused("p1=abc;&c1=start&a1=1234"), failure("invalid program abc;", 194));
}

TEST_F(ExecuteRequest, ShellCharactersBeyondTheArgumentsLengthGoThrough) {
    EXPECT_EQ(read("p1=abc;&c1=start&a1=123"), 1);
    EXPECT_EQ(read("p1=;|<>&c1=start"), 1);
}

TEST_F(ExecuteRequest, TheArgumentsThemselvesAreNeverExamined) {
    ASSERT_EQ(read("p1=zvStream&c1=start&a1=;|<>%26..$(x)`y`"), 1);
    EXPECT_EQ(entries[0].arguments, ";|<>&..$(x)`y`");
}

TEST_F(ExecuteRequest, ArgumentsLongerThanTheProgramAreNotComparedBeyondItsEnd) {
    EXPECT_EQ(read("p1=a&c1=start&a1=" + std::string(100000, 'x')), 1);
    EXPECT_EQ(entries[0].arguments.size(), 100000U);
}

TEST_F(ExecuteRequest, ReadingStopsAtTheFirstGap) {
    ASSERT_EQ(read("p1=one&c1=stop&p3=three&c3=stop"), 1);
    EXPECT_EQ(entries[0].program, "one");
    EXPECT_EQ(entries[2].program, "");
}

TEST_F(ExecuteRequest, WhatFollowsAGapIsNotValidated) {
    EXPECT_EQ(read("p1=one&c1=stop&p3=..&c3=nonsense"), 1);
}

TEST_F(ExecuteRequest, ReadsSixteenCommandsAndIgnoresTheSeventeenth) {
    std::string params;
    for (int n = 1; n <= 16; ++n) {
        const std::string number = std::to_string(n);
        params += "&p" + number + "=prog" + number + "&a" + number + "=arg" + number + "&c" + number + "=stop";
    }
    ASSERT_EQ(read(params.substr(1) + "&p17=..&c17=nonsense"), 16);
    EXPECT_EQ(entries[0].program, "prog1");
    EXPECT_EQ(entries[15].program, "prog16");
    EXPECT_EQ(entries[15].arguments, "arg16");
    EXPECT_EQ(entries[15].action, 1);
}

TEST_F(ExecuteRequest, TheFirstFailureIsTheOnlyOneWritten) {
    EXPECT_EQ(refused("p1=a&c1=x&p2=..&c2=y"), failure("invalid command x", 162));
    EXPECT_EQ(refused("p1=a&c1=stop&p2=..&c2=stop&p3=&c3=z"), failure("invalid program ..", 177));
}

TEST_F(ExecuteRequest, OfSeveralFailuresOfACommandTheFirstInTheFixedOrderCounts) {
    EXPECT_EQ(refused("p1=&a1=x&c1="), failure("fail, invalid program name", 134));
    EXPECT_EQ(refused("p1=..&c1="), failure("fail, invalid command", 141));
    EXPECT_EQ(refused("p1=..;&a1=xxx&c1=Start"), failure("invalid command Start", 162));
    EXPECT_EQ(refused("p1=..;&a1=xxx&c1=start"), failure("invalid program ..;", 177));
}

TEST_F(ExecuteRequest, LongNamesAreCutInTheMessage) {
    EXPECT_EQ(refused("p1=.." + std::string(100000, 'x') + "&c1=start"),
              failure("invalid program .." + std::string(493, 'x'), 177));
    EXPECT_EQ(refused("p1=a&c1=" + std::string(100000, 'y')), failure("invalid command " + std::string(495, 'y'), 162));
}

} // namespace
