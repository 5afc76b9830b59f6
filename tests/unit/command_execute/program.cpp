#include "program.h"

#include "installation.h"
#include "wrappedSystem.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using zvtest::Installation;
using zvtest::wrappedSystem;

std::string failure(const std::string& message, const char* function, int line) {
    return "Status: 400\n\n{\n\"status\":\"" + message + "\",\n\"zverr\":-3,\n\"_function\":\"" + function +
           "\",\n\"_line\":" + std::to_string(line) + "\n}\n";
}

struct Done {
    int result;
    std::string text;
};

Done execute(ExecEntry& entry) {
    std::stringstream stream;
    const int result = executeCommand(&entry, stream);
    return {result, stream.str()};
}

Done execute(const std::string& program, const std::string& arguments, std::int32_t action) {
    ExecEntry entry{program, arguments, action};
    return execute(entry);
}

void expectNotFound(const std::string& program) {
    const Done done = execute(program, "", actionStop);
    EXPECT_EQ(-1, done.result);
    EXPECT_EQ(failure("file not found " + program, "executeCommand", 255), done.text);
    EXPECT_THAT(wrappedSystem().commands, IsEmpty());
}

// The file exists: the name passes the test for it and fails the next one.
void expectFound(const std::string& program) {
    const Done done = execute(program, "", actionStop);
    EXPECT_EQ(-1, done.result);
    EXPECT_EQ(failure("stop: not in whitelist", "stopProg", 339), done.text);
}

TEST(ExecuteCommand, FailsWithoutAnEntry) {
    std::stringstream stream;
    EXPECT_EQ(-1, executeCommand(nullptr, stream));
    EXPECT_EQ(failure("Null Program", "executeCommand", 248), stream.str());
}

TEST(ExecuteCommand, FailsForAProgramThatIsNotInstalled) {
    const Installation installation;
    expectNotFound("absent");
}

TEST(ExecuteCommand, FailsWhenNothingIsInstalledAtAll) {
    expectNotFound("zvStream");
}

// The path before the name has 21 characters.
TEST(ExecuteCommand, FindsAProgramWhosePathHas49Characters) {
    const Installation installation;
    const std::string name(28, 'p');
    Installation::addFile(name);
    expectFound(name);
}

TEST(ExecuteCommand, RefusesAPathOfExactly50Characters) {
    const Installation installation;
    const std::string name(29, 'p');
    Installation::addFile(name);
    Installation::addFile(std::string(28, 'p'));
    expectNotFound(name);
}

TEST(ExecuteCommand, TestsTheCutPathOf51CharactersAndMore) {
    const Installation installation;
    expectNotFound(std::string(30, 'p'));
    Installation::addFile(std::string(28, 'p'));
    expectFound(std::string(30, 'p'));
    expectFound(std::string(5000, 'p'));
}

TEST(ExecuteCommand, MessageOfALongNameIsCutTo511Characters) {
    const Done done = execute(std::string(5000, 'q'), "", actionStop);
    EXPECT_EQ(failure("file not found " + std::string(496, 'q'), "executeCommand", 255), done.text);
}

TEST(ExecuteCommand, APipeInTheInstallationIsNotWaitedFor) {
    const Installation installation;
    ASSERT_EQ(0, mkfifo("/usr/local/zarvo/bin/pipe", 0600));
    expectFound("pipe");
}

TEST(ExecuteCommand, ADirectoryOfTheInstallationCanBeReadAndIsNotWhitelisted) {
    const Installation installation;
    for (const std::int32_t action : {actionStop, actionStart}) {
        const Done done = execute(".", "", action);
        EXPECT_EQ(-1, done.result);
        EXPECT_EQ(done.text, action == actionStop ? failure("stop: not in whitelist", "stopProg", 339)
                                                  : failure("start: not in whitelist", "startProg", 379));
    }
}

TEST(ExecuteCommand, AnInstalledProgramThatIsNotWhitelistedIsNeitherStartedNorStopped) {
    const Installation installation;
    Installation::addFile("other");
    for (const std::int32_t action : {actionStop, actionRestart}) {
        const Done done = execute("other", "", action);
        EXPECT_EQ(-1, done.result);
        EXPECT_EQ(failure("stop: not in whitelist", "stopProg", 339), done.text);
    }
    const Done done = execute("other", "", actionStart);
    EXPECT_EQ(-1, done.result);
    EXPECT_EQ(failure("start: not in whitelist", "startProg", 379), done.text);
    EXPECT_THAT(wrappedSystem().commands, IsEmpty());
}

TEST(ExecuteCommand, RefusesActionsOutOfRange) {
    const Installation installation;
    for (const std::int32_t action : {-1, 3}) {
        const Done done = execute("zvStream", "", action);
        EXPECT_EQ(-1, done.result);
        EXPECT_EQ(failure("invalid command " + std::to_string(action), "executeCommand", 305), done.text);
    }
    EXPECT_THAT(wrappedSystem().commands, IsEmpty());
}

TEST(ExecuteCommand, StartsTheProgramWithItsArguments) {
    const Installation installation;
    const Done done = execute("zvStream", "-x", actionStart);
    EXPECT_EQ(0, done.result);
    EXPECT_EQ("", done.text);
    EXPECT_THAT(wrappedSystem().commands,
                ElementsAre("/usr/local/zarvo/bin/zvStream -x < /dev/null > /dev/null 2>&1 &"));
    EXPECT_THAT(Installation::journal(4), Contains("start [-x]"));
    EXPECT_EQ(1U, Installation::running().size());
}

TEST(ExecuteCommand, QuotesAreRemovedAndTheTailKeepsItsCharacters) {
    const Installation installation;
    const auto left = [](const std::string& arguments) {
        ExecEntry entry{"zvStream", arguments, actionRestart};
        wrappedSystem() = {};
        wrappedSystem().failing = 2; // nothing is started
        execute(entry);
        return entry.arguments;
    };
    EXPECT_EQ("-xx\"", left("\"-x\""));
    EXPECT_EQ("abb", left("a\"b"));
    EXPECT_EQ("abcbc", left("\"\"abc"));
    EXPECT_EQ("\"", left("\""));
    EXPECT_EQ("plain", left("plain"));
    EXPECT_EQ("", left(""));
}

TEST(ExecuteCommand, QuotesStayWhenTheProgramIsNotFound) {
    ExecEntry entry{"absent", "\"-x\"", actionStart};
    EXPECT_EQ(failure("file not found absent", "executeCommand", 255), execute(entry).text);
    EXPECT_EQ("\"-x\"", entry.arguments);
}

TEST(ExecuteCommand, TheArgumentsLeftByTheRemovalAreWhatTheShellGets) {
    const Installation installation;
    execute("zvStream", "a\"b", actionStart);
    EXPECT_THAT(wrappedSystem().commands,
                ElementsAre("/usr/local/zarvo/bin/zvStream abb < /dev/null > /dev/null 2>&1 &"));
    EXPECT_THAT(Installation::journal(4), Contains("start [abb]"));
}

TEST(ExecuteCommand, AShellThatDoesNotUnderstandTheArgumentsIsNoFailure) {
    const Installation installation;
    const Done done = execute("zvStream", "\"-x\"", actionStart);
    EXPECT_EQ(0, done.result);
    EXPECT_EQ("", done.text);
    EXPECT_THAT(wrappedSystem().commands,
                ElementsAre("/usr/local/zarvo/bin/zvStream -xx\" < /dev/null > /dev/null 2>&1 &"));
}

TEST(ExecuteCommand, RestartStopsThenStartsANewProcess) {
    const Installation installation;
    execute("zvStream", "one", actionStart);
    Installation::journal(4);
    const auto before = Installation::running();
    const Done done = execute("zvStream", "two", actionRestart);
    EXPECT_EQ(0, done.result);
    EXPECT_THAT(Installation::journal(9), Contains("start [two]"));
    EXPECT_TRUE(Installation::becomes(1));
    EXPECT_NE(before, Installation::running());
    EXPECT_THAT(wrappedSystem().commands,
                ElementsAre(StartsWith("/usr/local/zarvo/bin/zvStream one "), "killall -s SIGINT zvStream",
                            "killall -9 zvStream", "/usr/local/zarvo/bin/zvStream two < /dev/null > /dev/null 2>&1 &"));
}

TEST(ExecuteCommand, RestartSucceedsWhenNothingWasRunning) {
    const Installation installation;
    EXPECT_EQ(0, execute("zvStream", "", actionRestart).result);
    EXPECT_THAT(wrappedSystem().commands, ElementsAre("killall -s SIGINT zvStream", "killall -9 zvStream",
                                                      "/usr/local/zarvo/bin/zvStream  < /dev/null > /dev/null 2>&1 &"));
    EXPECT_THAT(Installation::journal(4), Contains("start"));
}

TEST(ExecuteCommand, RestartWhoseStopFailsStartsNothing) {
    const Installation installation;
    wrappedSystem().failing = 2;
    const Done done = execute("zvStream", "", actionRestart);
    EXPECT_EQ(-1, done.result);
    EXPECT_EQ(failure("start: system errno 12 cmd 'killall -9 zvStream'", "stopProg", 348), done.text);
    EXPECT_EQ(2U, wrappedSystem().commands.size());
}

TEST(ExecuteCommand, RestartWhoseStartFailsLeavesTheProgramStopped) {
    const Installation installation;
    execute("zvStream", "", actionStart);
    Installation::journal(4);
    wrappedSystem().failing = 4;
    const Done done = execute("zvStream", "", actionRestart);
    EXPECT_EQ(-1, done.result);
    EXPECT_EQ(failure("start: system errno 12 cmd '/usr/local/zarvo/bin/zvStream  < /dev/null > /dev/null "
                      "2>&1 &'",
                      "startProg", 388),
              done.text);
    EXPECT_TRUE(Installation::becomes(0));
}

TEST(StopProg, WhitelistIsComparedExactly) {
    for (const char* name : {"zvstream", "zvStream ", "zvStrea", "zvStreams", ""}) {
        std::stringstream stream;
        EXPECT_EQ(-1, stopProg(name, stream));
        EXPECT_EQ(failure("stop: not in whitelist", "stopProg", 339), stream.str());
    }
}

TEST(StopProg, LetsTheProgramEndOnSigint) {
    const Installation installation;
    std::stringstream stream;
    ASSERT_EQ(0, startProg("zvStream", "", stream));
    Installation::journal(4);
    EXPECT_EQ(0, stopProg("zvStream", stream));
    EXPECT_EQ("", stream.str());
    EXPECT_THAT(Installation::journal(5), Contains("SIGINT"));
    EXPECT_TRUE(Installation::becomes(0));
}

TEST(StopProg, KillsEveryProcessThatDoesNotEnd) {
    const Installation installation(true);
    std::stringstream stream;
    ASSERT_EQ(0, startProg("zvStream", "1", stream));
    ASSERT_EQ(0, startProg("zvStream", "2", stream));
    Installation::journal(8);
    EXPECT_EQ(0, stopProg("zvStream", stream));
    EXPECT_TRUE(Installation::becomes(0));
}

TEST(StopProg, Waits50MillisecondsBetweenTheSignals) {
    std::stringstream stream;
    wrappedSystem().failing = 1; // at once, so that only the pause is measured
    EXPECT_EQ(0, stopProg("zvStream", stream));
    EXPECT_THAT(wrappedSystem().commands, ElementsAre("killall -s SIGINT zvStream", "killall -9 zvStream"));
    const auto& moments = wrappedSystem().moments;
    EXPECT_GE(moments.at(1) - moments.at(0), std::chrono::microseconds(50000));
}

TEST(StopProg, IgnoresAShellThatCannotSendTheFirstSignal) {
    std::stringstream stream;
    wrappedSystem().failing = 1;
    EXPECT_EQ(0, stopProg("zvStream", stream));
    EXPECT_EQ(2U, wrappedSystem().commands.size());
}

// The C library gives the status of a shell that has ended with 127 when it has no process for the shell.
TEST(StopProg, FailsWithoutAProcessForTheShell) {
    for (const int error : {EAGAIN, ENOMEM}) {
        std::stringstream stream;
        wrappedSystem() = {};
        wrappedSystem().failing = 2;
        wrappedSystem().status = 127 << 8;
        wrappedSystem().error = error;
        EXPECT_EQ(-1, stopProg("zvStream", stream));
        EXPECT_EQ(
            failure("start: system errno " + std::to_string(error) + " cmd 'killall -9 zvStream'", "stopProg", 348),
            stream.str());
    }
}

// The C library leaves it behind when a signal comes while it waits for the shell, which it goes on to do.
TEST(StopProg, WaitThatWasInterruptedIsNoFailure) {
    std::stringstream stream;
    wrappedSystem().failing = 2;
    wrappedSystem().status = 127 << 8;
    wrappedSystem().error = EINTR;
    EXPECT_EQ(0, stopProg("zvStream", stream));
    EXPECT_EQ("", stream.str());
}

TEST(StopProg, ErrorNumberOfAShellThatRanIsNoFailure) {
    for (const int status : {0, 1 << 8, 126 << 8, SIGKILL}) {
        std::stringstream stream;
        wrappedSystem() = {};
        wrappedSystem().failing = 2;
        wrappedSystem().status = status;
        wrappedSystem().error = ENOMEM;
        EXPECT_EQ(0, stopProg("zvStream", stream));
        EXPECT_EQ("", stream.str());
    }
}

TEST(StopProg, StatusOfKillallIsNoFailure) {
    for (const int status : {1 << 8, 126 << 8, 127 << 8, SIGKILL}) {
        std::stringstream stream;
        wrappedSystem() = {};
        wrappedSystem().failing = 2;
        wrappedSystem().status = status;
        wrappedSystem().error = 0;
        errno = EAGAIN; // from before
        EXPECT_EQ(0, stopProg("zvStream", stream));
        EXPECT_EQ("", stream.str());
    }
}

TEST(StopProg, KillallThatDoesNotExistIsNoFailure) {
    const std::string path = std::getenv("PATH");
    setenv("PATH", "/nowhere", 1);
    std::stringstream stream;
    EXPECT_EQ(0, stopProg("zvStream", stream));
    EXPECT_EQ("", stream.str());
    setenv("PATH", path.c_str(), 1);
}

TEST(StartProg, FailsWithoutAProcessForTheShell) {
    for (const int error : {EAGAIN, ENOMEM}) {
        std::stringstream stream;
        wrappedSystem() = {};
        wrappedSystem().failing = 1;
        wrappedSystem().status = 127 << 8;
        wrappedSystem().error = error;
        EXPECT_EQ(-1, startProg("zvStream", "-x", stream));
        EXPECT_EQ(failure("start: system errno " + std::to_string(error) +
                              " cmd '/usr/local/zarvo/bin/zvStream -x < /dev/null > /dev/null 2>&1 &'",
                          "startProg", 388),
                  stream.str());
    }
}

TEST(StartProg, StatusOfAShellThatRanIsNoFailure) {
    std::filesystem::remove("/usr/local/zarvo/bin/zvStream"); // the shell would wait for it
    std::stringstream stream;
    errno = EAGAIN; // from before
    EXPECT_EQ(0, startProg("zvStream", "; no-such-command #", stream));
    EXPECT_EQ(0, startProg("zvStream", "; exit 1 #", stream));
    EXPECT_EQ("", stream.str());
}

TEST(StartProg, WhitelistIsComparedExactly) {
    for (const char* name : {"zvstream", "zvStream ", "zvStrea", "zvStreams", ""}) {
        std::stringstream stream;
        EXPECT_EQ(-1, startProg(name, "", stream));
        EXPECT_EQ(failure("start: not in whitelist", "startProg", 379), stream.str());
    }
}

TEST(StartProg, NullArgumentsAreNone) {
    const Installation installation;
    std::stringstream stream;
    EXPECT_EQ(0, startProg("zvStream", nullptr, stream));
    EXPECT_THAT(Installation::journal(4), Contains("start"));
}

TEST(StartProg, TheShellSplitsAndInterpretsTheArguments) {
    const Installation installation;
    std::stringstream stream;
    EXPECT_EQ(0, startProg("zvStream", "'a b' $((1+1)) c", stream));
    EXPECT_THAT(Installation::journal(4), Contains("start [a b] [2] [c]"));
}

TEST(StartProg, TheProgramDoesNotHoldThisProcessDescriptors) {
    const Installation installation;
    int connection[2];
    ASSERT_EQ(0, pipe(connection)); // programs inherit it, unless they are kept from it
    std::stringstream stream;
    ASSERT_EQ(0, startProg("zvStream", "", stream));
    EXPECT_THAT(Installation::journal(4), ElementsAre("start", "0 /dev/null", "1 /dev/null", "2 /dev/null"));
    close(connection[1]);
    char byte = 0;
    EXPECT_EQ(0, read(connection[0], &byte, 1)) << "nobody else holds the pipe's other end";
}

TEST(StartProg, DoesNotWaitForTheProgram) {
    const Installation installation(true);
    std::stringstream stream;
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(0, startProg("zvStream", "", stream));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    Installation::journal(4);
    EXPECT_EQ(1U, Installation::running().size());
}

TEST(StartProg, CommandsAreCutTo1023Characters) {
    std::stringstream stream;
    EXPECT_EQ(0, startProg("zvStream", std::string(5000, 'x').c_str(), stream));
    ASSERT_EQ(1U, wrappedSystem().commands.size());
    EXPECT_EQ("/usr/local/zarvo/bin/zvStream " + std::string(993, 'x'), wrappedSystem().commands[0]);
}

TEST(StartProg, MessageOfALongCommandIsCutTo511Characters) {
    std::stringstream stream;
    wrappedSystem().failing = 1;
    EXPECT_EQ(-1, startProg("zvStream", std::string(5000, 'x').c_str(), stream));
    const std::string start = "start: system errno 12 cmd '/usr/local/zarvo/bin/zvStream ";
    EXPECT_EQ(failure(start + std::string(511 - start.size(), 'x'), "startProg", 388), stream.str());
}

} // namespace
