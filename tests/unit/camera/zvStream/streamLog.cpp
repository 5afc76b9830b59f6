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

constexpr const char* path = "/tmp/fuse_d/zvStream.log";

class StreamLog : public testing::Test {
protected:
    StreamLog() { std::filesystem::create_directories("/tmp/fuse_d"); }

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
        EXPECT_EQ(lines, all.size());
        all.resize(lines);
        return all;
    }

    int stop(pid_t process, int signal) {
        kill(process, signal);
        return waitFor(process);
    }
};

TEST_F(StreamLog, LogsStartWithItsArgumentsAndRuns) {
    const pid_t process = startProgram("zvStream", {"-x", "a b", ""}, {});
    const Json start = log(1)[0];
    EXPECT_EQ("start", start["event"]);
    EXPECT_EQ(process, start["pid"]);
    EXPECT_EQ((Json{"-x", "a b", ""}), start["arguments"]);
    EXPECT_THAT(start["time"].get<std::string>(),
                MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}[.][0-9]{3}Z"));
    EXPECT_EQ(0, kill(process, 0));
    stop(process, SIGKILL);
}

TEST_F(StreamLog, LinesAreWrittenAsDocumented) {
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

TEST_F(StreamLog, EndsCleanlyOnSigint) {
    const pid_t process = startProgram("zvStream", {}, {});
    log(1);
    EXPECT_EQ(0, stop(process, SIGINT));
    const Json end = log(2)[1];
    EXPECT_EQ("end", end["event"]);
    EXPECT_EQ(process, end["pid"]);
    EXPECT_EQ("SIGINT", end["reason"]);
}

TEST_F(StreamLog, EndsCleanlyOnSigterm) {
    const pid_t process = startProgram("zvStream", {}, {});
    log(1);
    EXPECT_EQ(0, stop(process, SIGTERM));
    EXPECT_EQ("SIGTERM", log(2)[1]["reason"]);
}

TEST_F(StreamLog, EndsOnSigintAlsoWhenAShellStartedItWithSigintIgnored) {
    std::signal(SIGINT, SIG_IGN);
    const pid_t process = startProgram("zvStream", {}, {});
    log(1);
    EXPECT_EQ(0, stop(process, SIGINT));
    EXPECT_EQ("SIGINT", log(2)[1]["reason"]);
}

TEST_F(StreamLog, AKilledOneLeavesNoEnd) {
    const pid_t process = startProgram("zvStream", {}, {});
    log(1);
    EXPECT_EQ(128 + SIGKILL, stop(process, SIGKILL));
    log(1);
}

TEST_F(StreamLog, SeveralAppendToOneLog) {
    const pid_t first = startProgram("zvStream", {"1"}, {});
    log(1);
    const pid_t second = startProgram("zvStream", {"2"}, {});
    log(2);
    stop(first, SIGINT);
    stop(second, SIGINT);
    const auto lines = log(4);
    EXPECT_EQ(Json{"2"}, lines[1]["arguments"]);
    EXPECT_EQ(first, lines[2]["pid"]);
    EXPECT_EQ(second, lines[3]["pid"]);
}

TEST_F(StreamLog, ShowsBytesThatAreNoUtf8AsTheReplacementCharacter) {
    const pid_t process = startProgram("zvStream", {"a\xFFz"}, {});
    EXPECT_EQ(Json{"a\uFFFDz"}, log(1)[0]["arguments"]);
    stop(process, SIGINT);
}

TEST_F(StreamLog, RunsWithoutItsLogAndSaysSo) {
    std::filesystem::remove_all("/tmp/fuse_d");
    const zvtest::OutputCapture errors(STDERR_FILENO);
    const pid_t process = startProgram("zvStream", {}, {});
    for (int attempt = 0; attempt < 2000 && errors.text().empty(); ++attempt) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ("/tmp/fuse_d/zvStream.log: No such file or directory\n", errors.text());
    EXPECT_EQ(0, kill(process, 0));
    EXPECT_EQ(0, stop(process, SIGINT));
}

TEST_F(StreamLog, ALogWithoutRoomForTheWholeLineIsTold) {
    const zvtest::OutputCapture errors(STDERR_FILENO);
    const rlimit room{60, RLIM_INFINITY}; // more than the message, less than the line
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &room));
    const pid_t process = startProgram("zvStream", {}, {});
    for (int attempt = 0; attempt < 2000 && errors.text().empty(); ++attempt) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ("/tmp/fuse_d/zvStream.log: No space left on device\n", errors.text());
    EXPECT_EQ(60U, std::filesystem::file_size(path));
    EXPECT_EQ(128 + SIGKILL, stop(process, SIGKILL));
    const rlimit unlimited{RLIM_INFINITY, RLIM_INFINITY};
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &unlimited));
}

} // namespace
