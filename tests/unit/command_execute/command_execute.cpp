#include "command_execute.h"

#include "installation.h"
#include "outputCapture.h"
#include "scarceMemory.h"
#include "wrappedSystem.h"
#include "wrappedWrite.h"

#include <cerrno>
#include <csignal>
#include <gmock/gmock.h>
#include <string>
#include <unistd.h>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using zvtest::Installation;
using zvtest::wrappedSystem;
using zvtest::wrappedWrite;

constexpr const char* success = "Content-type: application/json\nStatus: 200\n\n{\"status\":\"0\"}\n\n";

// The whole answer. The result is -18 and the response buffer untouched, whatever happens.
std::string answer(const std::string& params) {
    const zvtest::OutputCapture output(STDOUT_FILENO);
    char response[4096] = "untouched";
    EXPECT_EQ(-18, handle_command_execute(params.c_str(), response, sizeof response));
    EXPECT_STREQ("untouched", response);
    return output.text();
}

TEST(CommandExecute, StartingAnswers200) {
    const Installation installation;
    EXPECT_EQ(success, answer("p1=zvStream&c1=start&a1=-x"));
    EXPECT_THAT(wrappedSystem().commands,
                ElementsAre("/usr/local/zarvo/bin/zvStream -x < /dev/null > /dev/null 2>&1 &"));
    EXPECT_THAT(Installation::journal(4), Contains("start [-x]"));
}

TEST(CommandExecute, StoppingAnswers200AlsoWhenNothingRuns) {
    const Installation installation;
    EXPECT_EQ(success, answer("p1=zvStream&c1=stop"));
}

TEST(CommandExecute, WithoutAQueryAnswers400) {
    const zvtest::OutputCapture output(STDOUT_FILENO);
    EXPECT_EQ(-18, handle_command_execute(nullptr, nullptr, 0));
    EXPECT_EQ("Content-type: application/json\nStatus: 400\n\n{\n"
              "\"status\":\"fail, invalid program name\",\n\"zverr\":-3,\n"
              "\"_function\":\"handle_command_execute\",\n\"_line\":134\n}\n",
              output.text());
}

TEST(CommandExecute, AnUnknownProgramAnswers400WithItsName) {
    EXPECT_EQ("Content-type: application/json\nStatus: 400\n\n{\n"
              "\"status\":\"file not found absent\",\n\"zverr\":-3,\n"
              "\"_function\":\"executeCommand\",\n\"_line\":255\n}\n",
              answer("p1=absent&c1=start"));
}

TEST(CommandExecute, NothingIsCarriedOutWhenAnyCommandIsInvalid) {
    const Installation installation;
    EXPECT_EQ("Content-type: application/json\nStatus: 400\n\n{\n\"status\":\"invalid command Start\",\n"
              "\"zverr\":-3,\n\"_function\":\"handle_command_execute\",\n\"_line\":162\n}\n",
              answer("p1=zvStream&c1=start&p2=zvStream&c2=Start"));
    EXPECT_THAT(wrappedSystem().commands, IsEmpty());
}

TEST(CommandExecute, AFailureStopsTheRunAndLeavesWhatWasDone) {
    const Installation installation;
    Installation::addFile("other");
    EXPECT_EQ("Content-type: application/json\nStatus: 400\n\n{\n\"status\":\"start: not in whitelist\",\n"
              "\"zverr\":-3,\n\"_function\":\"startProg\",\n\"_line\":379\n}\n",
              answer("p1=zvStream&c1=start&a1=1&p2=other&c2=start&p3=zvStream&c3=start&a3=3"));
    EXPECT_THAT(wrappedSystem().commands,
                ElementsAre("/usr/local/zarvo/bin/zvStream 1 < /dev/null > /dev/null 2>&1 &"));
    EXPECT_THAT(Installation::journal(4), Contains("start [1]"));
}

TEST(CommandExecute, CommandsAreCarriedOutInTheirOrder) {
    const Installation installation;
    EXPECT_EQ(success, answer("a2=2&c2=start&p2=zvStream&p1=zvStream&c1=stop"));
    EXPECT_THAT(wrappedSystem().commands,
                ElementsAre("killall -s SIGINT zvStream", "killall -9 zvStream",
                            "/usr/local/zarvo/bin/zvStream 2 < /dev/null > /dev/null 2>&1 &"));
}

TEST(CommandExecute, AGapEndsTheRequestAndWhatCameBeforeIsCarriedOut) {
    const Installation installation;
    EXPECT_EQ(success, answer("p1=zvStream&c1=start&a1=1&p3=zvStream&c3=start&a3=3"));
    EXPECT_EQ(1U, wrappedSystem().commands.size());
}

TEST(CommandExecute, OfSeventeenCommandsSixteenAreCarriedOut) {
    const Installation installation;
    std::string params;
    for (int n = 1; n <= 17; ++n) {
        const std::string number = std::to_string(n);
        params += "&p" + number + "=zvStream&c" + number + "=start&a" + number + "=" + number;
    }
    EXPECT_EQ(success, answer(params.substr(1)));
    ASSERT_EQ(16U, wrappedSystem().commands.size());
    EXPECT_EQ("/usr/local/zarvo/bin/zvStream 16 < /dev/null > /dev/null 2>&1 &", wrappedSystem().commands.back());
}

TEST(CommandExecute, AShellThatCannotBeRunAnswers400) {
    const Installation installation;
    wrappedSystem().failing = 1;
    EXPECT_EQ("Content-type: application/json\nStatus: 400\n\n{\n\"status\":\"start: system errno 12 cmd "
              "'/usr/local/zarvo/bin/zvStream -x < /dev/null > /dev/null 2>&1 &'\",\n\"zverr\":-3,\n"
              "\"_function\":\"startProg\",\n\"_line\":388\n}\n",
              answer("p1=zvStream&c1=start&a1=-x"));
}

TEST(CommandExecute, AShellThatRanIsNoFailureWhenSigchldWasHandedDownIgnored) {
    const Installation installation;
    std::signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(success, answer("p1=zvStream&c1=restart&a1=-x"));
    EXPECT_THAT(Installation::journal(4), Contains("start [-x]"));
}

TEST(CommandExecute, AHandlerOfSigchldStaysAndTheStatusOfTheShellIsKept) {
    const Installation installation;
    for (const int flags : {0, SA_NOCLDWAIT}) {
        const auto handler = [](int) {};
        struct sigaction action {};
        action.sa_handler = handler;
        action.sa_flags = flags;
        EXPECT_EQ(0, sigaction(SIGCHLD, &action, nullptr));
        EXPECT_EQ(success, answer("p1=zvStream&c1=restart"));
        EXPECT_EQ(static_cast<void (*)(int)>(handler), std::signal(SIGCHLD, SIG_DFL));
    }
}

struct Answered {
    int result;
    std::string output;
};

// Serves a request while operator new gives at most so many bytes at a time.
Answered answerWithin(std::size_t most, const std::string& params) {
    const zvtest::OutputCapture output(STDOUT_FILENO);
    int result = 99;
    {
        const zvtest::ScarceMemory scarce(most);
        result = handle_command_execute(params.c_str(), nullptr, 0);
    }
    return {result, output.text()};
}

TEST(CommandExecute, WithoutMemoryForAnAnswerNothingIsCarriedOutAndNothingPrinted) {
    const Installation installation;
    for (const char* params : {"p1=zvStream&c1=start", "p1=zvStream&c1=stop", "p1=zvStream&c1=Start"}) {
        const Answered answered = answerWithin(1, params);
        EXPECT_EQ(-2, answered.result) << params;
        EXPECT_EQ("", answered.output) << params;
    }
    EXPECT_THAT(wrappedSystem().commands, IsEmpty());
}

TEST(CommandExecute, WithoutMemoryForAllOfAFailureNoHalfOfItIsPrinted) {
    // There is memory for the name, but not for the whole answer.
    const Answered answered = answerWithin(600, "p1=.." + std::string(500, 'x') + "&c1=start");
    EXPECT_EQ(-2, answered.result);
    EXPECT_EQ("", answered.output);
}

TEST(CommandExecute, TheAnswerIsWrittenOnceInOnePiece) {
    answer("p1=absent&c1=start");
    EXPECT_EQ(1U, wrappedWrite().sizes.size());
}

TEST(CommandExecute, TheAnswerIsCompletedWhenWriteTakesPartsOrIsInterrupted) {
    const Installation installation;
    wrappedWrite().sizes.clear(); // linked statically, those of the installation's files are counted too
    wrappedWrite().script = {{5, 0}, {0, EINTR}, {1, 0}};
    EXPECT_EQ(success, answer("p1=zvStream&c1=stop"));
    EXPECT_EQ(4U, wrappedWrite().sizes.size());
}

TEST(CommandExecute, AQueryOf100KilobytesIsAnswered) {
    const std::string name(100000, 'n');
    EXPECT_EQ("Content-type: application/json\nStatus: 400\n\n{\n\"status\":\"file not found " + name.substr(0, 496) +
                  "\",\n\"zverr\":-3,\n\"_function\":\"executeCommand\",\n\"_line\":255\n}\n",
              answer("p1=" + name + "&c1=start&a1=" + name));
}

// What has been carried out stays done: here, nothing.
TEST(CommandExecute, WithoutMemoryForAllOfALaterFailureNoHalfOfItIsPrinted) {
    const Answered answered = answerWithin(600, "p1=" + std::string(500, 'x') + "&c1=start");
    EXPECT_EQ(-2, answered.result);
    EXPECT_EQ("", answered.output);
    EXPECT_THAT(wrappedSystem().commands, IsEmpty());
}

} // namespace
