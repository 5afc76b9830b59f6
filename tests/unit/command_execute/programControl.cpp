#include "installation.h"
#include "program.h"
#include "wrappedSystem.h"

#include <chrono>
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

Done execute(const std::string& program, const std::string& arguments, int32_t action) {
    ExecEntry entry{program, arguments, action};
    return execute(entry);
}

void expectNotFound(const std::string& program) {
    const Done done = execute(program, "", exec_stop);
    EXPECT_EQ(done.result, -1);
    EXPECT_EQ(done.text, failure("file not found " + program, "executeCommand", 255));
    EXPECT_THAT(wrappedSystem().commands, IsEmpty());
}

// The file exists, for the program's name gets past the test for it.
void expectFound(const std::string& program) {
    const Done done = execute(program, "", exec_stop);
    EXPECT_EQ(done.result, -1);
    EXPECT_EQ(done.text, failure("stop: not in whitelist", "stopProg", 339));
}

TEST(executeCommand, fails_without_an_entry) {
    std::stringstream stream;
    EXPECT_EQ(executeCommand(nullptr, stream), -1);
    EXPECT_EQ(stream.str(), failure("Null Program", "executeCommand", 248));
}

TEST(executeCommand, fails_for_a_program_that_is_not_installed) {
    const Installation installation;
    expectNotFound("absent");
}

TEST(executeCommand, fails_when_nothing_is_installed_at_all) {
    expectNotFound("zvStream");
}

// The path before the name has 21 characters.
TEST(executeCommand, finds_a_program_whose_path_has_49_characters) {
    const Installation installation;
    const std::string name(28, 'p');
    Installation::addFile(name);
    expectFound(name);
}

TEST(executeCommand, refuses_a_path_of_exactly_50_characters) {
    const Installation installation;
    const std::string name(29, 'p');
    Installation::addFile(name);
    Installation::addFile(std::string(28, 'p'));
    expectNotFound(name);
}

TEST(executeCommand, tests_the_cut_path_of_51_characters_and_more) {
    const Installation installation;
    expectNotFound(std::string(30, 'p'));
    Installation::addFile(std::string(28, 'p'));
    expectFound(std::string(30, 'p'));
    expectFound(std::string(5000, 'p'));
}

TEST(executeCommand, message_of_a_long_name_is_cut_to_511_characters) {
    const Done done = execute(std::string(5000, 'q'), "", exec_stop);
    EXPECT_EQ(done.text, failure("file not found " + std::string(496, 'q'), "executeCommand", 255));
}

TEST(executeCommand, a_pipe_in_the_installation_is_not_waited_for) {
    const Installation installation;
    ASSERT_EQ(mkfifo("/usr/local/zarvo/bin/pipe", 0600), 0);
    expectFound("pipe");
}

TEST(executeCommand, a_directory_of_the_installation_can_be_read_and_is_not_whitelisted) {
    const Installation installation;
    for (const int32_t action : {exec_stop, exec_start}) {
        const Done done = execute(".", "", action);
        EXPECT_EQ(done.result, -1);
        EXPECT_EQ(done.text, action == exec_stop ? failure("stop: not in whitelist", "stopProg", 339)
                                                 : failure("start: not in whitelist", "startProg", 379));
    }
}

TEST(executeCommand, an_installed_program_that_is_not_whitelisted_is_neither_started_nor_stopped) {
    const Installation installation;
    Installation::addFile("other");
    for (const int32_t action : {exec_stop, exec_restart}) {
        const Done done = execute("other", "", action);
        EXPECT_EQ(done.result, -1);
        EXPECT_EQ(done.text, failure("stop: not in whitelist", "stopProg", 339));
    }
    const Done done = execute("other", "", exec_start);
    EXPECT_EQ(done.result, -1);
    EXPECT_EQ(done.text, failure("start: not in whitelist", "startProg", 379));
    EXPECT_THAT(wrappedSystem().commands, IsEmpty());
}

TEST(executeCommand, refuses_actions_out_of_range) {
    const Installation installation;
    for (const int32_t action : {-1, 3}) {
        const Done done = execute("zvStream", "", action);
        EXPECT_EQ(done.result, -1);
        EXPECT_EQ(done.text, failure("invalid command " + std::to_string(action), "executeCommand", 305));
    }
    EXPECT_THAT(wrappedSystem().commands, IsEmpty());
}

TEST(executeCommand, starts_the_program_with_its_arguments) {
    const Installation installation;
    const Done done = execute("zvStream", "-x", exec_start);
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(done.text, "");
    EXPECT_THAT(wrappedSystem().commands,
                ElementsAre("/usr/local/zarvo/bin/zvStream -x < /dev/null > /dev/null 2>&1 &"));
    EXPECT_THAT(Installation::journal(4), Contains("start [-x]"));
    EXPECT_EQ(Installation::running().size(), 1U);
}

TEST(executeCommand, quotes_are_removed_and_the_tail_keeps_its_characters) {
    const Installation installation;
    const auto left = [](const std::string& arguments) {
        ExecEntry entry{"zvStream", arguments, exec_restart};
        wrappedSystem() = {};
        wrappedSystem().failing = 2; // nothing is started
        execute(entry);
        return entry.arguments;
    };
    EXPECT_EQ(left("\"-x\""), "-xx\"");
    EXPECT_EQ(left("a\"b"), "abb");
    EXPECT_EQ(left("\"\"abc"), "abcbc");
    EXPECT_EQ(left("\""), "\"");
    EXPECT_EQ(left("plain"), "plain");
    EXPECT_EQ(left(""), "");
}

TEST(executeCommand, quotes_stay_when_the_program_is_not_found) {
    ExecEntry entry{"absent", "\"-x\"", exec_start};
    EXPECT_EQ(execute(entry).text, failure("file not found absent", "executeCommand", 255));
    EXPECT_EQ(entry.arguments, "\"-x\"");
}

TEST(executeCommand, the_arguments_left_by_the_removal_are_what_the_shell_gets) {
    const Installation installation;
    execute("zvStream", "a\"b", exec_start);
    EXPECT_THAT(wrappedSystem().commands,
                ElementsAre("/usr/local/zarvo/bin/zvStream abb < /dev/null > /dev/null 2>&1 &"));
    EXPECT_THAT(Installation::journal(4), Contains("start [abb]"));
}

TEST(executeCommand, a_shell_that_does_not_understand_the_arguments_is_no_failure) {
    const Installation installation;
    const Done done = execute("zvStream", "\"-x\"", exec_start);
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(done.text, "");
    EXPECT_THAT(wrappedSystem().commands,
                ElementsAre("/usr/local/zarvo/bin/zvStream -xx\" < /dev/null > /dev/null 2>&1 &"));
}

TEST(executeCommand, restart_stops_then_starts_a_new_process) {
    const Installation installation;
    execute("zvStream", "one", exec_start);
    Installation::journal(4);
    const auto before = Installation::running();
    const Done done = execute("zvStream", "two", exec_restart);
    EXPECT_EQ(done.result, 0);
    EXPECT_THAT(Installation::journal(9), Contains("start [two]"));
    EXPECT_TRUE(Installation::becomes(1));
    EXPECT_NE(Installation::running(), before);
    EXPECT_THAT(wrappedSystem().commands,
                ElementsAre(StartsWith("/usr/local/zarvo/bin/zvStream one "), "killall -s SIGINT zvStream",
                            "killall -9 zvStream", "/usr/local/zarvo/bin/zvStream two < /dev/null > /dev/null 2>&1 &"));
}

TEST(executeCommand, restart_succeeds_when_nothing_was_running) {
    const Installation installation;
    EXPECT_EQ(execute("zvStream", "", exec_restart).result, 0);
    EXPECT_THAT(wrappedSystem().commands, ElementsAre("killall -s SIGINT zvStream", "killall -9 zvStream",
                                                      "/usr/local/zarvo/bin/zvStream  < /dev/null > /dev/null 2>&1 &"));
    EXPECT_THAT(Installation::journal(4), Contains("start"));
}

TEST(executeCommand, restart_whose_stop_fails_starts_nothing) {
    const Installation installation;
    wrappedSystem().failing = 2;
    const Done done = execute("zvStream", "", exec_restart);
    EXPECT_EQ(done.result, -1);
    EXPECT_EQ(done.text, failure("start: system errno 12 cmd 'killall -9 zvStream'", "stopProg", 348));
    EXPECT_EQ(wrappedSystem().commands.size(), 2U);
}

TEST(executeCommand, restart_whose_start_fails_leaves_the_program_stopped) {
    const Installation installation;
    execute("zvStream", "", exec_start);
    Installation::journal(4);
    wrappedSystem().failing = 4;
    const Done done = execute("zvStream", "", exec_restart);
    EXPECT_EQ(done.result, -1);
    EXPECT_EQ(done.text, failure("start: system errno 12 cmd '/usr/local/zarvo/bin/zvStream  < /dev/null > /dev/null "
                                 "2>&1 &'",
                                 "startProg", 388));
    EXPECT_TRUE(Installation::becomes(0));
}

TEST(stopProg, whitelist_is_compared_exactly) {
    for (const char* name : {"zvstream", "zvStream ", "zvStrea", "zvStreams", ""}) {
        std::stringstream stream;
        EXPECT_EQ(stopProg(name, stream), -1);
        EXPECT_EQ(stream.str(), failure("stop: not in whitelist", "stopProg", 339));
    }
}

TEST(stopProg, lets_the_program_end_on_sigint) {
    const Installation installation;
    std::stringstream stream;
    ASSERT_EQ(startProg("zvStream", "", stream), 0);
    Installation::journal(4);
    EXPECT_EQ(stopProg("zvStream", stream), 0);
    EXPECT_EQ(stream.str(), "");
    EXPECT_THAT(Installation::journal(5), Contains("SIGINT"));
    EXPECT_TRUE(Installation::becomes(0));
}

TEST(stopProg, kills_every_process_that_does_not_end) {
    const Installation installation(true);
    std::stringstream stream;
    ASSERT_EQ(startProg("zvStream", "1", stream), 0);
    ASSERT_EQ(startProg("zvStream", "2", stream), 0);
    Installation::journal(8);
    EXPECT_EQ(stopProg("zvStream", stream), 0);
    EXPECT_TRUE(Installation::becomes(0));
}

TEST(stopProg, waits_50_milliseconds_between_the_signals) {
    std::stringstream stream;
    wrappedSystem().failing = 1; // at once: what is left between the two is the wait
    EXPECT_EQ(stopProg("zvStream", stream), 0);
    EXPECT_THAT(wrappedSystem().commands, ElementsAre("killall -s SIGINT zvStream", "killall -9 zvStream"));
    const auto& moments = wrappedSystem().moments;
    EXPECT_GE(moments.at(1) - moments.at(0), std::chrono::microseconds(50000));
}

TEST(stopProg, ignores_a_shell_that_cannot_send_the_first_signal) {
    std::stringstream stream;
    wrappedSystem().failing = 1;
    EXPECT_EQ(stopProg("zvStream", stream), 0);
    EXPECT_EQ(wrappedSystem().commands.size(), 2U);
}

TEST(startProg, whitelist_is_compared_exactly) {
    for (const char* name : {"zvstream", "zvStream ", "zvStrea", "zvStreams", ""}) {
        std::stringstream stream;
        EXPECT_EQ(startProg(name, "", stream), -1);
        EXPECT_EQ(stream.str(), failure("start: not in whitelist", "startProg", 379));
    }
}

TEST(startProg, null_arguments_are_none) {
    const Installation installation;
    std::stringstream stream;
    EXPECT_EQ(startProg("zvStream", nullptr, stream), 0);
    EXPECT_THAT(Installation::journal(4), Contains("start"));
}

TEST(startProg, the_shell_splits_and_interprets_the_arguments) {
    const Installation installation;
    std::stringstream stream;
    EXPECT_EQ(startProg("zvStream", "'a b' $((1+1)) c", stream), 0);
    EXPECT_THAT(Installation::journal(4), Contains("start [a b] [2] [c]"));
}

TEST(startProg, the_program_does_not_hold_this_process_descriptors) {
    const Installation installation;
    int connection[2];
    ASSERT_EQ(pipe(connection), 0); // inherited, as it stands
    std::stringstream stream;
    ASSERT_EQ(startProg("zvStream", "", stream), 0);
    EXPECT_THAT(Installation::journal(4), ElementsAre("start", "0 /dev/null", "1 /dev/null", "2 /dev/null"));
    close(connection[1]);
    char byte = 0;
    EXPECT_EQ(read(connection[0], &byte, 1), 0) << "nobody else holds the pipe's other end";
}

TEST(startProg, does_not_wait_for_the_program) {
    const Installation installation(true);
    std::stringstream stream;
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(startProg("zvStream", "", stream), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    Installation::journal(4);
    EXPECT_EQ(Installation::running().size(), 1U);
}

TEST(startProg, commands_are_cut_to_1023_characters) {
    std::stringstream stream;
    EXPECT_EQ(startProg("zvStream", std::string(5000, 'x').c_str(), stream), 0);
    ASSERT_EQ(wrappedSystem().commands.size(), 1U);
    EXPECT_EQ(wrappedSystem().commands[0], "/usr/local/zarvo/bin/zvStream " + std::string(993, 'x'));
}

TEST(startProg, message_of_a_long_command_is_cut_to_511_characters) {
    std::stringstream stream;
    wrappedSystem().failing = 1;
    EXPECT_EQ(startProg("zvStream", std::string(5000, 'x').c_str(), stream), -1);
    const std::string start = "start: system errno 12 cmd '/usr/local/zarvo/bin/zvStream ";
    EXPECT_EQ(stream.str(), failure(start + std::string(511 - start.size(), 'x'), "startProg", 388));
}

} // namespace
