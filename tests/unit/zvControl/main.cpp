// The program itself, with the real libraries, in an environment that holds nothing but what the test says.
#include "buildRevision.h"
#include "process.h"
#include "syslogCapture.h"

#include <chrono>
#include <csignal>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using testing::ElementsAre;
using zvtest::Finished;
using zvtest::runProgram;

constexpr const char* name = "zvControl-cgi-bin";

TEST(Program, WithoutAnyEnvironmentAnswersTheDescriptionAndEndsWith0) {
    zvtest::SyslogCapture log;
    const Finished program = runProgram(name, {}, {});
    EXPECT_EQ(0, program.status);
    // No control daemon runs here, so its first question fails.
    EXPECT_EQ("Status: 500 Internal Server Error\r\nContent-Type: application/json\r\n\r\n"
              "{\"status\":\"zvc_state_get_model_number\",\"zverr\":-1,"
              "\"_function\":\"camera_description_output_json\",\"_line\":228,"
              "\"path\":\"\",\"query\":\"\"}",
              program.output);
    EXPECT_EQ("", program.errors);
    EXPECT_THAT(log.texts(),
                ElementsAre("UTIL_LOG_DEBUG:Executing zvControl-cgi-bin path[(null)] params[(null)]\n @zvControl:100",
                            "UTIL_LOG_ERROR:zvc_state_get_model_number err, -1\n @zvControl:226"));
}

TEST(Program, WithoutTheControlDaemonSaysNothingAndEndsWithTheCodesLow8Bits) {
    zvtest::SyslogCapture log;
    const Finished program = runProgram(name, {}, {"PATH_INFO=/execute"});
    EXPECT_EQ(255, program.status);
    EXPECT_EQ("", program.output);
    EXPECT_EQ("", program.errors);
    EXPECT_THAT(log.texts(),
                ElementsAre("UTIL_LOG_DEBUG:Executing zvControl-cgi-bin path[/execute] params[(null)]\n @zvControl:100",
                            "UTIL_LOG_ERROR:Error[-1] opening the daemon interface\n @zvControl:120"));
}

TEST(Program, RunsWithoutASystemLog) {
    EXPECT_EQ(255, runProgram(name, {}, {"PATH_INFO=/execute"}).status);
}

// A descriptor that is closed while one lives, and in the programs that are started meanwhile.
class ClosedDescriptor {
public:
    explicit ClosedDescriptor(int descriptor)
        : descriptor_(descriptor),
          saved_(fcntl(descriptor, F_DUPFD_CLOEXEC, 10)) {
        close(descriptor_);
    }
    ~ClosedDescriptor() {
        dup2(saved_, descriptor_);
        close(saved_);
    }
    ClosedDescriptor(const ClosedDescriptor&) = delete;
    ClosedDescriptor& operator=(const ClosedDescriptor&) = delete;

private:
    int descriptor_;
    int saved_;
};

// A system log that nobody reads, with no room for another line.
class FullLog {
public:
    FullLog() : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, "/dev/log");
        unlink(address.sun_path);
        EXPECT_EQ(0, bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address));
        const int out = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        while (sendto(out, "x", 1, 0, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 1) {
        }
        close(out);
    }
    ~FullLog() {
        close(socket_);
        unlink("/dev/log");
    }
    FullLog(const FullLog&) = delete;
    FullLog& operator=(const FullLog&) = delete;

private:
    int socket_;
};

// The real control daemon of a camera whose identity the test knows.
class ProgramWithDaemon : public testing::Test {
protected:
    ProgramWithDaemon() {
        std::filesystem::create_directories("/run/zarvo");
        std::filesystem::create_directories("/tmp/fuse_d");
        std::ofstream("/tmp/scenario.json") << R"({"identity":{"model_number":12,"model_name":"Tess 12",
            "firmware_version":"3.4.5","serial_number":"SN0001","board_type":"B7","ap_mac":"020304050607",
            "ap_ssid":"zarvo-0001","ap_has_default_credentials":true}})";
        daemon_ = zvtest::startProgram("zvControlD", {"--scenario", "/tmp/scenario.json"}, {});
        for (int attempt = 0; attempt < 2000 && !std::filesystem::exists("/run/zarvo/zvControlD.sock"); ++attempt) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
    ~ProgramWithDaemon() override {
        kill(daemon_, SIGTERM);
        zvtest::waitFor(daemon_);
    }

    pid_t daemon_;
};

TEST_F(ProgramWithDaemon, AnswersTheDescription) {
    std::filesystem::create_directories("/usr/local/zarvo/etc/tessilon");
    std::ofstream("/usr/local/zarvo/etc/tessilon/settings.json") << "{\n\"version\":1\n}\n";
    const Finished program = runProgram(name, {}, {"PATH_INFO="});
    EXPECT_EQ(0, program.status);
    EXPECT_EQ("Status: 200 OK\r\nContent-Type: "
              "application/json\r\n\r\n{\"version\":1,\n\"info\":{\"model_number\":12,"
              "\"model_name\":\"Tess 12\",\"firmware_version\":\"3.4.5\",\"serial_number\":\"SN0001\","
              "\"board_type\":\"B7\",\"ap_mac\":\"020304050607\",\"ap_ssid\":\"zarvo-0001\","
              "\"ap_has_default_credentials\":\"1\",\"git_sha1\":\"" +
                  std::string(buildRevision) + "\"}}",
              program.output);
}

TEST_F(ProgramWithDaemon, AnswersMissingSettingsWith500AndEndsWith0) {
    const Finished program = runProgram(name, {}, {"PATH_INFO=", "QUERY_STRING=q=1"});
    EXPECT_EQ(0, program.status);
    EXPECT_EQ("Status: 500 Internal Server Error\r\nContent-Type: application/json\r\n\r\n"
              "{\"status\":\"/usr/local/zarvo/etc/abru/settings.json\",\"zverr\":-10,"
              "\"_function\":\"camera_description_output_json\",\"_line\":331,"
              "\"path\":\"\",\"query\":\"q=1\"}",
              program.output);
    EXPECT_EQ("", program.errors);
}

TEST_F(ProgramWithDaemon, AnswersAnUnknownRequestWith400AndEndsWith236) {
    const Finished program = runProgram(name, {}, {"PATH_INFO=/nowhere", "QUERY_STRING=a=\"1\""});
    EXPECT_EQ(236, program.status);
    EXPECT_EQ("Status: 400 Bad Request\r\nContent-Type: application/json\r\n\r\n"
              "{\"status\":\"unknown request\",\"zverr\":-3,\"_function\":\"main\",\"_line\":143,"
              "\"path\":\"/nowhere\",\"query\":\"a=\\\"1\\\"\"}",
              program.output);
    EXPECT_EQ("", program.errors);
}

TEST_F(ProgramWithDaemon, AnswersSuccessWithoutATextWithAnEmptyObject) {
    const Finished program = runProgram(name, {}, {"PATH_INFO=/command/ble/pairing_available"});
    EXPECT_EQ(0, program.status);
    EXPECT_EQ("Status: 200 OK\r\nContent-Type: application/json\r\n\r\n{}", program.output);
}

TEST_F(ProgramWithDaemon, AnswersAFailedHookWith500AndItsCode) {
    // No network daemon owns its queue here.
    const Finished program = runProgram(name, {}, {"PATH_INFO=/command/ble/pair/status"});
    EXPECT_EQ(255, program.status);
    EXPECT_EQ("Status: 500 Internal Server Error\r\nContent-Type: application/json\r\n\r\n"
              "{\"status\":\"/command/ble/pair/status\",\"zverr\":-1,\"_function\":\"main\","
              "\"_line\":150,\"path\":\"/command/ble/pair/status\",\"query\":\"\"}",
              program.output);
}

TEST_F(ProgramWithDaemon, LeavesAHandlersOwnAnswerAloneAndEndsWith238) {
    const Finished program = runProgram(name, {}, {"PATH_INFO=/execute", "QUERY_STRING=p1=absent&c1=start"});
    EXPECT_EQ(238, program.status);
    EXPECT_EQ("Content-type: application/json\nStatus: 400\n\n{\n"
              "\"status\":\"file not found absent\",\n\"zverr\":-3,\n"
              "\"_function\":\"executeCommand\",\n\"_line\":255\n}\n",
              program.output);
}

TEST_F(ProgramWithDaemon, ClearsTheAnalytics) {
    const Finished program = runProgram(name, {}, {"PATH_INFO=/analytics/clear"});
    EXPECT_EQ(0, program.status);
    EXPECT_EQ("Status: 200 OK\r\nContent-Type: application/json\r\n\r\n{}", program.output);
}

TEST_F(ProgramWithDaemon, AnswersAlsoWhenNobodyReadsTheLog) {
    const FullLog log;
    const Finished program = runProgram(name, {}, {"PATH_INFO=/command/ble/pairing_available"});
    EXPECT_EQ(0, program.status);
    EXPECT_EQ("Status: 200 OK\r\nContent-Type: application/json\r\n\r\n{}", program.output);
}

// The number of a closed descriptor would be that of the connection to the log or to the control daemon.
TEST_F(ProgramWithDaemon, AnswersNobodyElseWhenItsDescriptorsAreClosed) {
    zvtest::SyslogCapture log;
    const std::vector<std::vector<int>> sets = {{STDOUT_FILENO}, {STDIN_FILENO, STDOUT_FILENO}, {0, 1, 2}};
    for (const std::vector<int>& closed : sets) {
        int status = -1;
        {
            std::deque<ClosedDescriptor> descriptors;
            for (const int descriptor : closed) {
                descriptors.emplace_back(descriptor);
            }
            status = zvtest::waitFor(zvtest::startProgram(name, {}, {"PATH_INFO=/nowhere"}));
        }
        EXPECT_EQ(236, status);
        EXPECT_THAT(log.texts(),
                    ElementsAre("UTIL_LOG_DEBUG:Executing zvControl-cgi-bin path[/nowhere] params[(null)]\n"
                                " @zvControl:100"));
    }
}

TEST_F(ProgramWithDaemon, TakesAQueryOf100Kilobytes) {
    const std::string query = "p1=" + std::string(100000, 'x');
    const Finished program = runProgram(name, {}, {"PATH_INFO=/execute", "QUERY_STRING=" + query});
    EXPECT_EQ(238, program.status);
    EXPECT_THAT(program.output, testing::HasSubstr("\"fail, invalid command\""));
}

} // namespace
