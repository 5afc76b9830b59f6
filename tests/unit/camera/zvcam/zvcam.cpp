// The tool as a process: against a real zvControlD and a supervisor of the test's own.
#include "adminServer.h"
#include "controlDaemonProcess.h"

#include <atomic>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/wait.h>
#include <thread>

using testing::HasSubstr;
using zvcamera::Json;
using zvtest::ControlDaemonProcess;

namespace {

struct Finished {
    int status;
    std::string out;
    std::string err;
};

std::string contentOf(const char* path) {
    std::ifstream file(path);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

// Runs the tool through the shell.
Finished bare(const std::string& arguments) {
    const int status = std::system(("'" ZV_TOOL "' " + arguments + " >/tmp/out 2>/tmp/err").c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentOf("/tmp/out"), contentOf("/tmp/err")};
}

Finished zvcamOf(const std::string& arguments) {
    return bare("--run-dir /run/zarvo " + arguments);
}

// Answers every operation of the supervisor with the request itself.
class Supervisor {
public:
    Supervisor() : server_(loop_, "/run/zarvo/supervisor.admin") {
        for (const char* op : {"stop", "cont", "kill", "term", "start", "status"}) {
            server_.on(op, [](const Json& request) { return request; });
        }
        server_.on("log", [](const Json& request) {
            const Json records = {{{"source", "zvNetD"}, {"text", "one\n"}, {"pid", nullptr}},
                                  {{"source", "zvBleD"}, {"text", "two"}, {"pid", 3}}};
            const std::size_t since = request.at("since");
            return Json{{"records", Json(records.begin() + static_cast<std::ptrdiff_t>(since), records.end())},
                        {"next", records.size()}};
        });
        thread_ = std::thread([this] {
            while (!ending_) {
                loop_.runOnce(std::chrono::milliseconds(10));
            }
        });
    }
    ~Supervisor() {
        ending_ = true;
        thread_.join();
    }

private:
    zvcamera::EventLoop loop_;
    zvcamera::AdminServer server_;
    std::atomic<bool> ending_ = false;
    std::thread thread_;
};

} // namespace

TEST(Zvcam, ShowsTheStateForPeople) {
    const ControlDaemonProcess daemon(R"({"identity":{"model_number":34,"ap_ssid":"a b"}})");
    const Finished run = zvcamOf("show");
    EXPECT_EQ(0, run.status);
    EXPECT_EQ("", run.err);
    EXPECT_THAT(run.out, HasSubstr("identity\n"));
    EXPECT_THAT(run.out, HasSubstr("  ap_ssid                     a b\n"));
    EXPECT_THAT(run.out, HasSubstr("  model_number                34\n"));
    EXPECT_THAT(run.out, HasSubstr("failures  none\n"));
    EXPECT_EQ("34\n", zvcamOf("show model_number").out);
}

TEST(Zvcam, ShowsTheStateForMachines) {
    const ControlDaemonProcess daemon(R"({"identity":{"model_number":34}})");
    for (const char* arguments : {"--json show", "show --json"}) {
        const Finished run = zvcamOf(arguments);
        EXPECT_EQ(1, std::count(run.out.begin(), run.out.end(), '\n'));
        EXPECT_EQ(34, Json::parse(run.out).at("identity").at("model_number"));
    }
    EXPECT_EQ("34\n", zvcamOf("show model_number --json").out);
}

TEST(Zvcam, SetsItems) {
    const ControlDaemonProcess daemon;
    EXPECT_EQ("recording  1\n", zvcamOf("set recording 1").out);
    EXPECT_EQ("recording  -1\n", zvcamOf("set recording -1").out);
    EXPECT_EQ("ap_pairing_state  2\n", zvcamOf("set ap_pairing_state 2").out);
    EXPECT_EQ("ap_has_default_credentials  false\n", zvcamOf("set ap_has_default_credentials false").out);
    EXPECT_EQ("{\"model_name\":\"A \\\"B\\\"\"}\n", zvcamOf("--json set model_name 'A \"B\"'").out);
    EXPECT_EQ("model_name  -x\n", zvcamOf("set model_name -- -x").out);
    EXPECT_EQ(0, zvcamOf("set model_name ''").status);
    EXPECT_EQ("\n", zvcamOf("show model_name").out);
    EXPECT_EQ("13\n", zvcamOf("show model_number").out);
}

TEST(Zvcam, SaysWhatTheCameraRefuses) {
    const ControlDaemonProcess daemon;
    Finished run = zvcamOf("set model_number 256");
    EXPECT_EQ(1, run.status);
    EXPECT_EQ("", run.out);
    EXPECT_EQ("zvcam: model_number: must be a whole number from 0 to 255\n", run.err);
    run = zvcamOf("set colour red");
    EXPECT_EQ(1, run.status);
    EXPECT_EQ("zvcam: unknown item colour\n", run.err);
}

TEST(Zvcam, MakesItemsFailByNumberOrName) {
    const ControlDaemonProcess daemon;
    EXPECT_EQ("failures\n  ap_mac  -7\n", zvcamOf("fail ap_mac -7").out);
    EXPECT_EQ("{\"failures\":{\"ap_mac\":-17}}\n", zvcamOf("--json fail ap_mac ZV_ERR_NAK").out);
    EXPECT_EQ("failures  none\n", zvcamOf("unfail ap_mac").out);
    zvcamOf("fail ap_mac -1");
    zvcamOf("fail recording -1");
    EXPECT_EQ("failures  none\n", zvcamOf("unfail all").out);
    for (const char* code : {"0", "1", "x", "ZV_OK1", "99999999999", "-99999999999", "-1x"}) {
        const Finished run = zvcamOf(std::string("fail ap_mac ") + code);
        EXPECT_EQ(2, run.status) << code;
        EXPECT_THAT(run.err, HasSubstr("must be a negative number or the name of a result code")) << code;
    }
}

TEST(Zvcam, DrivesTheAnalyticsFile) {
    const ControlDaemonProcess daemon;
    const char* const file = "/tmp/fuse_d/analytics/analytics.bin";
    EXPECT_EQ(0, zvcamOf("analytics size 2500").status);
    EXPECT_EQ(2500U, std::filesystem::file_size(file));
    EXPECT_EQ(0, zvcamOf("analytics clear").status);
    EXPECT_EQ(0U, std::filesystem::file_size(file));
    EXPECT_EQ(0, zvcamOf("analytics append --hex 00ff").status);
    EXPECT_EQ(std::string("\0\xFF", 2), contentOf(file));
    EXPECT_EQ(0, zvcamOf("analytics append").status);
    EXPECT_EQ(22U, std::filesystem::file_size(file));
    EXPECT_EQ(0, zvcamOf("analytics append 2").status);
    EXPECT_EQ(22U + 24U + 20U, std::filesystem::file_size(file));
    EXPECT_THAT(zvcamOf("analytics on --interval-ms 3600000").out, HasSubstr("collect      true\n"));
    EXPECT_THAT(zvcamOf("analytics off").out, HasSubstr("collect      false\n"));
    EXPECT_THAT(zvcamOf("analytics limit 5000").out, HasSubstr("limit        5000\n"));
    EXPECT_EQ(std::string(file) + "\n", zvcamOf("analytics path").out);
    EXPECT_EQ("/else where\n", zvcamOf("analytics path '/else where'").out);
    EXPECT_EQ("/else where\n", zvcamOf("analytics path").out);
    EXPECT_EQ(std::string(file) + "\n", zvcamOf("analytics path --own").out);
    EXPECT_EQ(0, zvcamOf("analytics on-clear remove").status);
    EXPECT_EQ(0, zvcamOf("analytics clear").status);
    EXPECT_FALSE(std::filesystem::exists(file));
    EXPECT_EQ(nullptr, Json::parse(zvcamOf("--json analytics status").out).at("size"));
}

TEST(Zvcam, RefusesSenselessAnalyticsArguments) {
    const ControlDaemonProcess daemon;
    EXPECT_EQ(2, zvcamOf("analytics").status);
    EXPECT_EQ(2, zvcamOf("analytics size").status);
    EXPECT_EQ(2, zvcamOf("analytics size x").status);
    EXPECT_EQ(1, zvcamOf("analytics size -1").status);
    EXPECT_EQ(2, zvcamOf("analytics limit").status);
    EXPECT_EQ(1, zvcamOf("analytics limit -1").status);
    EXPECT_EQ(2, zvcamOf("analytics on-clear burn").status);
    EXPECT_EQ(2, zvcamOf("analytics append 2 --hex 00").status);
    EXPECT_EQ(1, zvcamOf("analytics append --hex 0").status);
}

TEST(Zvcam, DrivesTheCamerasPrograms) {
    std::filesystem::create_directories("/run/zarvo");
    const Supervisor supervisor;
    for (const std::string op : {"stop", "cont", "kill", "term", "start"}) {
        const Finished run = zvcamOf("--json daemon " + op + " zvNetD");
        EXPECT_EQ(0, run.status);
        EXPECT_EQ((Json{{"zvNetD", {{"op", op}, {"daemon", "zvNetD"}}}}), Json::parse(run.out));
    }
    EXPECT_EQ((Json{{"op", "status"}}), Json::parse(zvcamOf("--json daemon status").out));
    EXPECT_EQ(2, zvcamOf("daemon stop").status);
    EXPECT_EQ(2, zvcamOf("daemon").status);
    EXPECT_EQ(2, zvcamOf("daemon burn zvNetD").status);
}

TEST(Zvcam, PrintsTheLog) {
    std::filesystem::create_directories("/run/zarvo");
    const Supervisor supervisor;
    EXPECT_EQ("zvNetD: one\nzvBleD: two\n", zvcamOf("log").out);
    EXPECT_EQ("zvBleD: two\n", zvcamOf("log --since 1").out);
    EXPECT_EQ("{\"pid\":3,\"source\":\"zvBleD\",\"text\":\"two\"}\n", zvcamOf("--json log --since 1").out);
}

TEST(Zvcam, SaysThatNobodyIsThere) {
    Finished run = bare("show");
    EXPECT_EQ(3, run.status);
    EXPECT_EQ("zvcam: no camera is running (looked in /tmp/zvcam-" + std::to_string(getuid()) + ")\n", run.err);
    run = bare("--port 8080 show");
    EXPECT_EQ(3, run.status);
    EXPECT_EQ("zvcam: no camera runs on port 8080\n", run.err);
    run = zvcamOf("show");
    EXPECT_EQ(3, run.status);
    EXPECT_EQ("zvcam: zvControlD does not run in /run/zarvo: No such file or directory\n", run.err);
}

TEST(Zvcam, SaysThatAStoppedDaemonDoesNotAnswer) {
    ControlDaemonProcess daemon;
    daemon.halt();
    const Finished run = zvcamOf("show");
    EXPECT_EQ(3, run.status);
    EXPECT_EQ("zvcam: zvControlD does not answer\n", run.err);
}

TEST(Zvcam, FindsTheCameraByItsPort) {
    const ControlDaemonProcess daemon;
    const std::string folder = "/tmp/zvcam-" + std::to_string(getuid()) + "/8080";
    std::filesystem::create_directories(folder);
    std::filesystem::create_directory_symlink("/run/zarvo", folder + "/run");
    EXPECT_EQ("0\n", bare("show recording").out);
    EXPECT_EQ("0\n", bare("--port 8080 show recording").out);
    EXPECT_EQ("0\n", bare("show recording --port 8080").out);
    EXPECT_EQ(3, bare("--port 8081 show").status);
    EXPECT_EQ(2, bare("--port 8080 --run-dir /run/zarvo show").status);
}

TEST(Zvcam, WrongCommandLinesAreSaid) {
    for (const char* arguments :
         {"", "paint", "set", "set recording", "set recording 1 2", "fail recording", "unfail", "--port x show"}) {
        const Finished run = bare(arguments);
        EXPECT_EQ(2, run.status) << arguments;
        EXPECT_EQ("", run.out) << arguments;
        EXPECT_NE("", run.err) << arguments;
    }
}

TEST(Zvcam, HelpIsNoFailure) {
    for (const char* arguments : {"--help", "set --help", "analytics --help", "analytics size --help"}) {
        const Finished run = bare(arguments);
        EXPECT_EQ(0, run.status) << arguments;
        EXPECT_THAT(run.out, HasSubstr("Usage: zvcam")) << arguments;
    }
}
