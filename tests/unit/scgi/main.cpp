// The resident program itself, with the real libraries and the control daemon.
#include "outputCapture.h"
#include "process.h"
#include "scgiClient.h"
#include "syslogCapture.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <thread>

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using zvtest::askScgi;
using zvtest::Finished;
using zvtest::runProgram;
using zvtest::scgiRequest;

namespace files = std::filesystem;

constexpr const char* name = "zvControl-scgi";
constexpr const char* path = "/tmp/gateway.sock";

constexpr const char* unknown = "Status: 400 Bad Request\r\nContent-Type: application/json\r\n\r\n"
                                "{\"status\":\"unknown request\",\"zverr\":-3,\"_function\":\"main\",\"_line\":143,"
                                "\"path\":\"/nowhere\",\"query\":\"a=1\"}";

void waitForFile(const char* file) {
    for (int attempt = 0; attempt < 4000 && !files::exists(file); ++attempt) {
        std::this_thread::sleep_for(5ms);
    }
}

class Resident : public testing::Test {
protected:
    Resident() {
        files::create_directories("/run/zarvo");
        files::create_directories("/tmp/fuse_d");
        daemon_ = zvtest::startProgram("zvControlD", {}, {});
        waitForFile("/run/zarvo/zvControlD.sock");
    }
    ~Resident() override {
        kill(daemon_, SIGTERM);
        zvtest::waitFor(daemon_);
    }
    void start(std::vector<std::string> arguments = {}, const std::vector<std::string>& environment = {}) {
        arguments.insert(arguments.begin(), {"--socket", path});
        program_ = zvtest::startProgram(name, arguments, environment);
        zvtest::waitForServer(path);
    }
    int end() {
        kill(program_, SIGTERM);
        return zvtest::waitFor(program_);
    }

    pid_t daemon_;
    pid_t program_ = -1;
};

TEST_F(Resident, AnswersAsTheCgiProgramDoes) {
    start();
    const std::string request = scgiRequest({{"PATH_INFO", "/nowhere"}, {"QUERY_STRING", "a=1"}});
    EXPECT_EQ(unknown, askScgi(path, request));
    EXPECT_EQ(unknown, askScgi(path, request));
    EXPECT_EQ("Status: 200 OK\r\nContent-Type: application/json\r\n\r\n{}",
              askScgi(path, scgiRequest({{"PATH_INFO", "/command/ble/pairing_available"}})));
    EXPECT_EQ(0, end());
    EXPECT_FALSE(files::exists(path));
}

TEST_F(Resident, LogsAsTheCgiProgramDoes) {
    start();
    zvtest::SyslogCapture log;
    askScgi(path, scgiRequest({{"PATH_INFO", "/nowhere"}}, "a body"));
    EXPECT_EQ(0, end());
    EXPECT_THAT(log.texts(), ElementsAre("UTIL_LOG_DEBUG:Executing zvControl-cgi-bin path[/nowhere] params[(null)]\n"
                                         " @zvControl:100"));
}

TEST_F(Resident, HasNothingOfItsOwnEnvironmentInARequests) {
    start({}, {"PATH_INFO=/execute", "QUERY_STRING=x=1"});
    EXPECT_THAT(askScgi(path, scgiRequest({})), HasSubstr("\"path\":\"\",\"query\":\"\""));
    EXPECT_EQ(0, end());
}

TEST_F(Resident, ServesOnAfterWhatIsNoRequest) {
    start();
    EXPECT_EQ("", askScgi(path, "GET / HTTP/1.0\r\n\r\n"));
    EXPECT_EQ(unknown, askScgi(path, scgiRequest({{"PATH_INFO", "/nowhere"}, {"QUERY_STRING", "a=1"}})));
    EXPECT_EQ(0, end());
}

TEST_F(Resident, OpensNothingButItsSocket) {
    start();
    std::vector<std::string> open;
    for (const auto& entry : files::directory_iterator("/proc/" + std::to_string(program_) + "/fd")) {
        open.push_back(files::read_symlink(entry).string());
    }
    EXPECT_EQ(1, std::count(open.begin(), open.end(), "anon_inode:[signalfd]"));
    EXPECT_EQ(1, std::count_if(open.begin(), open.end(),
                               [](const std::string& file) { return file.starts_with("socket:"); }));
    EXPECT_EQ(0, end());
}

TEST_F(Resident, ServesTheSocketThatItInherits) {
    const zv::UniqueFd listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, path);
    ASSERT_EQ(0, bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address));
    ASSERT_EQ(0, listen(listener.get(), 4));
    const zv::UniqueFd input(dup(STDIN_FILENO));
    dup2(listener.get(), STDIN_FILENO);
    program_ = zvtest::startProgram(name, {}, {});
    dup2(input.get(), STDIN_FILENO);
    EXPECT_EQ(unknown, askScgi(path, scgiRequest({{"PATH_INFO", "/nowhere"}, {"QUERY_STRING", "a=1"}})));
    EXPECT_EQ("/dev/null", files::read_symlink("/proc/" + std::to_string(program_) + "/fd/0"));
    EXPECT_EQ(0, end());
    EXPECT_TRUE(files::exists(path)); // it is the starter's
}

TEST(ResidentAlone, NeedsASocket) {
    const Finished program = runProgram(name, {}, {});
    EXPECT_EQ(1, program.status);
    EXPECT_EQ("zvControl-scgi: no socket is inherited that listens for connections; --socket PATH opens one\n",
              program.errors);
}

TEST(ResidentAlone, RefusesWrongOptions) {
    const Finished program = runProgram(name, {"--port", "80"}, {});
    EXPECT_EQ(2, program.status);
    EXPECT_EQ("zvControl-scgi: --port is no option; --help lists them\n", program.errors);
    EXPECT_EQ("", program.output);
}

TEST(ResidentAlone, ExplainsItself) {
    const Finished program = runProgram(name, {"--help"}, {});
    EXPECT_EQ(0, program.status);
    EXPECT_THAT(program.output, testing::StartsWith("zvControl-scgi [--socket PATH"));
    EXPECT_EQ("", program.errors);
}

#ifdef ZV_LOADED
constexpr const char* refusal = ". A process that is forked for a request could not rely on them. "
                                "zvControl-cgi-bin can.\n";

Finished runWith(const std::string& library) {
    return runProgram(name, {"--socket", path}, {"LD_PRELOAD=" ZV_LOADED "/" + library});
}

TEST(ResidentAlone, RefusesALibraryThatStartsAThread) {
    const Finished program = runWith("zv_loadedThread.so");
    EXPECT_EQ(1, program.status);
    EXPECT_EQ(std::string("zvControl-scgi: Refusing to serve. While the libraries were loaded, threads have been "
                          "started: 1") +
                  refusal,
              program.errors);
    EXPECT_FALSE(files::exists(path));
}

TEST(ResidentAlone, RefusesALibraryThatOpensAFile) {
    const Finished program = runWith("zv_loadedDescriptor.so");
    EXPECT_EQ(1, program.status);
    EXPECT_THAT(program.errors,
                testing::MatchesRegex("zvControl-scgi: Refusing to serve. While the libraries were loaded, descriptors "
                                      "have been opened: [0-9]+ \\(/dev/zero\\)\\. A process .*\n"));
    EXPECT_FALSE(files::exists(path));
}
#endif

} // namespace
