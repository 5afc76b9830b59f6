// The streaming program, run as a process of its own.
#include "outputCapture.h"
#include "process.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

namespace {

using testing::ElementsAre;
using testing::MatchesRegex;
using zvtest::startProgram;
using zvtest::waitFor;
using Json = nlohmann::json;

constexpr const char* path = "/tmp/fuse_d/ZvStream.log";

class ZvStream : public testing::Test {
protected:
    ZvStream() { std::filesystem::create_directories("/tmp/fuse_d"); }

    // The log, waiting (10 s at most) until it has so many lines.
    std::vector<Json> log(std::size_t lines) {
        std::vector<Json> all;
        for (int attempt = 0; attempt < 2000; ++attempt) {
            all.clear();
            std::ifstream file(path);
            for (std::string line; std::getline(file, line);) {
                all.push_back(Json::parse(line));
            }
            if (all.size() >= lines) {
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        EXPECT_EQ(all.size(), lines);
        all.resize(lines);
        return all;
    }

    int stop(pid_t process, int signal) {
        kill(process, signal);
        return waitFor(process);
    }
};

TEST_F(ZvStream, LogsStartWithItsArgumentsAndRuns) {
    const pid_t process = startProgram("zvStream", {"-x", "a b", ""}, {});
    const Json start = log(1)[0];
    EXPECT_EQ(start["event"], "start");
    EXPECT_EQ(start["pid"], process);
    EXPECT_EQ(start["arguments"], (Json{"-x", "a b", ""}));
    EXPECT_THAT(start["time"].get<std::string>(),
                MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}[.][0-9]{3}Z"));
    EXPECT_EQ(kill(process, 0), 0);
    stop(process, SIGKILL);
}

TEST_F(ZvStream, LinesAreWrittenAsDocumented) {
    const pid_t process = startProgram("zvStream", {}, {});
    log(1);
    stop(process, SIGINT);
    std::ifstream file(path);
    std::string start;
    std::string end;
    std::getline(file, start);
    std::getline(file, end);
    const std::string number = std::to_string(process);
    EXPECT_THAT(start, MatchesRegex(R"(\{"event":"start","pid":)" + number + R"(,"time":"[^"]*","arguments":\[\]\})"));
    EXPECT_THAT(end, MatchesRegex(R"(\{"event":"end","pid":)" + number + R"(,"time":"[^"]*","reason":"SIGINT"\})"));
}

TEST_F(ZvStream, EndsCleanlyOnSigint) {
    const pid_t process = startProgram("zvStream", {}, {});
    log(1);
    EXPECT_EQ(stop(process, SIGINT), 0);
    const Json end = log(2)[1];
    EXPECT_EQ(end["event"], "end");
    EXPECT_EQ(end["pid"], process);
    EXPECT_EQ(end["reason"], "SIGINT");
}

TEST_F(ZvStream, EndsCleanlyOnSigterm) {
    const pid_t process = startProgram("zvStream", {}, {});
    log(1);
    EXPECT_EQ(stop(process, SIGTERM), 0);
    EXPECT_EQ(log(2)[1]["reason"], "SIGTERM");
}

TEST_F(ZvStream, EndsOnSigintAlsoWhenAShellStartedItWithSigintIgnored) {
    std::signal(SIGINT, SIG_IGN);
    const pid_t process = startProgram("zvStream", {}, {});
    log(1);
    EXPECT_EQ(stop(process, SIGINT), 0);
    EXPECT_EQ(log(2)[1]["reason"], "SIGINT");
}

TEST_F(ZvStream, AKilledOneLeavesNoEnd) {
    const pid_t process = startProgram("zvStream", {}, {});
    log(1);
    EXPECT_EQ(stop(process, SIGKILL), 128 + SIGKILL);
    log(1);
}

TEST_F(ZvStream, SeveralAppendToOneLog) {
    const pid_t first = startProgram("zvStream", {"1"}, {});
    log(1);
    const pid_t second = startProgram("zvStream", {"2"}, {});
    log(2);
    stop(first, SIGINT);
    stop(second, SIGINT);
    const auto lines = log(4);
    EXPECT_EQ(lines[1]["arguments"], Json{"2"});
    EXPECT_EQ(lines[2]["pid"], first);
    EXPECT_EQ(lines[3]["pid"], second);
}

TEST_F(ZvStream, ShowsBytesThatAreNoUtf8AsTheReplacementCharacter) {
    const pid_t process = startProgram("zvStream", {"a\xFFz"}, {});
    EXPECT_EQ(log(1)[0]["arguments"], Json{"a\uFFFDz"});
    stop(process, SIGINT);
}

TEST_F(ZvStream, RunsWithoutItsLogAndSaysSo) {
    std::filesystem::remove_all("/tmp/fuse_d");
    const zvtest::OutputCapture errors(STDERR_FILENO);
    const pid_t process = startProgram("zvStream", {}, {});
    for (int attempt = 0; attempt < 2000 && errors.text().empty(); ++attempt) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(errors.text(), "/tmp/fuse_d/ZvStream.log: No such file or directory\n");
    EXPECT_EQ(kill(process, 0), 0);
    EXPECT_EQ(stop(process, SIGINT), 0);
}

TEST_F(ZvStream, ALogWithoutRoomForTheWholeLineIsTold) {
    const zvtest::OutputCapture errors(STDERR_FILENO);
    const rlimit room{60, RLIM_INFINITY}; // more than the message, less than the line
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &room), 0);
    const pid_t process = startProgram("zvStream", {}, {});
    for (int attempt = 0; attempt < 2000 && errors.text().empty(); ++attempt) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(errors.text(), "/tmp/fuse_d/ZvStream.log: No space left on device\n");
    EXPECT_EQ(std::filesystem::file_size(path), 60U);
    EXPECT_EQ(stop(process, SIGKILL), 128 + SIGKILL);
    const rlimit unlimited{RLIM_INFINITY, RLIM_INFINITY};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &unlimited), 0);
}

} // namespace
