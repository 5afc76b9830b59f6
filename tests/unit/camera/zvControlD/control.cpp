// zvControlD as a process: the tool's operations, the services that fail, and what it must survive.
#include "adminClient.h"
#include "controlClient.h"
#include "controlDaemon.h"
#include "csi.h"
#include "syslogCapture.h"
#include "unixSocket.h"
#include "zvCtrlD.h"
#include "zvErrno.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>
#include <sys/resource.h>
#include <sys/socket.h>

using namespace zvcamera;
using zvtest::ControlDaemon;

namespace {

constexpr const char* control = "/run/zarvo/zvControlD.sock";
constexpr const char* admin = "/run/zarvo/zvControlD.admin";

Json ask(const char* op, const Json& arguments = Json::object()) {
    return AdminClient(admin).call(op, arguments, std::chrono::seconds(30)); // generous to a loaded machine
}

std::string refusal(const char* op, const Json& arguments = Json::object()) {
    try {
        ask(op, arguments);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "(none)";
}

int recording() {
    int value = -1;
    const int result = csi_get(CSI_RECORDING, 4, nullptr, &value);
    return result == 0 ? value : result;
}

bool fileExists(const char* path) {
    return std::filesystem::exists(path);
}

// What a connection brings back for a packet: bytes, or nothing when it is closed without an answer.
std::vector<unsigned char> exchange(const std::vector<unsigned char>& packet) {
    const zv::UniqueFd fd = connectUnix(control, SOCK_SEQPACKET);
    send(fd.get(), packet.data(), packet.size(), MSG_NOSIGNAL);
    std::vector<unsigned char> answer(8192);
    const ssize_t length = recv(fd.get(), answer.data(), answer.size(), 0);
    answer.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return answer;
}

const std::vector<unsigned char> openPacket = {'Z', 'C', 1, 1, 0, 0, 0, 0};
const std::vector<unsigned char> yes = {'Z', 'A', 1, 0, 0, 0, 0, 0, 1};

} // namespace

TEST(Control, ShowsEverythingAndOneItem) {
    const ControlDaemon daemon(R"({"identity":{"model_number":20},"state":{"recording":1}})");
    const Json all = ask("show");
    EXPECT_EQ(20, all.at("identity").at("model_number"));
    EXPECT_EQ(1, all.at("state").at("recording"));
    EXPECT_EQ(Json::object(), all.at("failures"));
    EXPECT_EQ("/tmp/fuse_d/analytics/analytics.bin", all.at("analytics").at("path"));
    EXPECT_EQ(20, ask("show", {{"item", "model_number"}}));
    EXPECT_EQ("unknown item colour", refusal("show", {{"item", "colour"}}));
    EXPECT_EQ("colour: unknown key", refusal("show", {{"colour", "x"}}));
}

TEST(Control, ASetItemIsReadByTheLibraries) {
    const ControlDaemon daemon;
    EXPECT_EQ(1, ask("set", {{"item", "recording"}, {"value", 1}}));
    EXPECT_EQ(1, recording());
    EXPECT_EQ(0, ask("set", {{"item", "recording"}, {"value", "0"}}));
    EXPECT_EQ(0, recording());
    ask("set", {{"item", "ap_ssid"}, {"value", "caf\xC3\xA9"}});
    char text[16];
    EXPECT_EQ(0, zvc_state_get_ap_ssid(text, 16));
    EXPECT_STREQ("caf\xC3\xA9", text);
}

TEST(Control, RefusesWhatCannotBeSet) {
    const ControlDaemon daemon;
    EXPECT_EQ("item: is missing", refusal("set", {{"value", 1}}));
    EXPECT_EQ("value: is missing", refusal("set", {{"item", "recording"}}));
    EXPECT_EQ("unknown item colour", refusal("set", {{"item", "colour"}, {"value", 1}}));
    EXPECT_EQ("recording: must be a whole number from -2147483648 to 2147483647",
              refusal("set", {{"item", "recording"}, {"value", "x"}}));
    EXPECT_EQ("more: unknown key", refusal("set", {{"item", "recording"}, {"value", 1}, {"more", 1}}));
    EXPECT_EQ("unknown op paint", refusal("paint"));
    EXPECT_EQ(0, recording());
}

TEST(Control, EveryItemCanBeMadeToFail) {
    const ControlDaemon daemon;
    const char* const items[] = {"model_number", "model_name",      "firmware_version", "serial_number",
                                 "board_type",   "ap_mac",          "ap_ssid",          "ap_has_default_credentials",
                                 "recording",    "ap_pairing_state"};
    int code = -30;
    for (const char* item : items) {
        ask("fail", {{"item", item}, {"code", code--}});
    }
    unsigned char number = 0;
    bool flag = false;
    char text[8];
    int value = 0;
    EXPECT_EQ(-30, zvc_state_get_model_number(&number));
    EXPECT_EQ(-31, zvc_state_get_model_name(text, 8));
    EXPECT_EQ(-32, zvc_state_get_firmware_version(text, 8));
    EXPECT_EQ(-33, zvc_state_get_serial_number(text, 8));
    EXPECT_EQ(-34, zvc_state_get_board_type(text, 8));
    EXPECT_EQ(-35, zvc_state_get_ap_mac(text, 8));
    EXPECT_EQ(-36, zvc_state_get_ap_ssid(text, 8));
    EXPECT_EQ(-37, zvc_state_get_ap_has_default_credentials(&flag));
    EXPECT_EQ(-38, csi_get(CSI_RECORDING, 4, nullptr, &value));
    EXPECT_EQ(-39, csi_get(CSI_AP_PAIRING_STATE, 4, nullptr, &value));
    ask("unfail", {{"item", "model_number"}});
    EXPECT_EQ(0, zvc_state_get_model_number(&number));
    EXPECT_EQ(-31, zvc_state_get_model_name(text, 8));
    EXPECT_EQ(Json::object(), ask("unfail", {{"item", "all"}}));
    EXPECT_EQ(0, zvc_state_get_model_name(text, 8));
}

TEST(Control, TheInterfaceCanBeMadeToFail) {
    const ControlDaemon daemon;
    ask("fail", {{"item", "uri_interface_open"}, {"code", -16}});
    EXPECT_EQ(-16, zvcontrol_uri_interface_open());
    ask("unfail", {{"item", "all"}});
    ask("fail", {{"item", "uri_interface_close"}, {"code", -1}});
    EXPECT_EQ(0, zvcontrol_uri_interface_open());
    EXPECT_EQ(-1, zvcontrol_uri_interface_close());
}

TEST(Control, FreesFromAskingForTheCloseUnlessThatFails) {
    const ControlDaemon daemon;
    zvcontrol::Answer answer;
    ASSERT_EQ(0, zvcontrol::exchange(zvcontrol::Operation::Open, 0, {}, answer));
    ASSERT_EQ(1U, answer.length);
    EXPECT_EQ(1, answer.data[0]);
    ask("fail", {{"item", "uri_interface_close"}, {"code", -1}});
    ASSERT_EQ(0, zvcontrol::exchange(zvcontrol::Operation::Open, 0, {}, answer));
    EXPECT_EQ(0U, answer.length);
}

TEST(Control, RefusesSenselessFailures) {
    const ControlDaemon daemon;
    EXPECT_EQ("code: must be a whole number from -2147483648 to -1",
              refusal("fail", {{"item", "recording"}, {"code", 0}}));
    EXPECT_EQ("code: is missing", refusal("fail", {{"item", "recording"}}));
    EXPECT_EQ("unknown item colour", refusal("fail", {{"item", "colour"}, {"code", -1}}));
    EXPECT_EQ("unknown item colour", refusal("unfail", {{"item", "colour"}}));
}

TEST(Control, CommandsOfTheAnalyticsFile) {
    const ControlDaemon daemon;
    const char* const file = "/tmp/fuse_d/analytics/analytics.bin";
    EXPECT_EQ(2500, ask("analytics", {{"action", "size"}, {"size", 2500}}).at("size"));
    EXPECT_EQ(2500U, std::filesystem::file_size(file));
    EXPECT_EQ(0, zvcontrol_send_command_param_response(39, nullptr, 0, nullptr, 0));
    EXPECT_EQ(0U, std::filesystem::file_size(file));
    EXPECT_EQ(2, ask("analytics", {{"action", "append"}, {"hex", "0aFF"}}).at("size"));
    EXPECT_EQ(2 + 20 + 24, ask("analytics", {{"action", "append"}, {"records", 2}}).at("size"));
    EXPECT_EQ("remove", ask("analytics", {{"action", "on_clear"}, {"what", "remove"}}).at("on_clear"));
    EXPECT_EQ(0, zvcontrol_send_command_param_response(39, nullptr, 0, nullptr, 0));
    EXPECT_FALSE(fileExists(file));
    ask("analytics", {{"action", "path"}, {"path", "/elsewhere"}});
    char path[257];
    EXPECT_EQ(0, zvcontrol_send_command_param_response(38, nullptr, 0, path, 257));
    EXPECT_STREQ("/elsewhere", path);
    EXPECT_EQ(true, ask("analytics", {{"action", "on"}, {"interval_ms", 10}}).at("collect"));
    EXPECT_EQ(false, ask("analytics", {{"action", "off"}}).at("collect"));
    EXPECT_EQ(70, ask("analytics", {{"action", "limit"}, {"limit", 70}}).at("limit"));
}

TEST(Control, CommandsOfTheAnalyticsFileCanBeMadeToFail) {
    const ControlDaemon daemon(R"({"analytics":{"size":100}})");
    ask("fail", {{"item", "analytics_get"}, {"code", -5}});
    ask("fail", {{"item", "analytics_clear"}, {"code", -6}});
    char path[8] = "before";
    EXPECT_EQ(-5, zvcontrol_send_command_param_response(38, nullptr, 0, path, 8));
    EXPECT_STREQ("before", path);
    EXPECT_EQ(-6, zvcontrol_send_command_param_response(39, nullptr, 0, nullptr, 0));
    EXPECT_EQ(100, ask("analytics", {{"action", "status"}}).at("size"));
}

TEST(Control, ClearingThatCannotBeDoneIsToldToTheClient) {
    const ControlDaemon daemon;
    std::filesystem::create_directories("/tmp/fuse_d/analytics/analytics.bin");
    EXPECT_EQ(ZV_ERR_FILE_WRITE, zvcontrol_send_command_param_response(39, nullptr, 0, nullptr, 0));
}

TEST(Control, RefusesSenselessAnalyticsActions) {
    const ControlDaemon daemon;
    EXPECT_EQ("action: is missing", refusal("analytics"));
    EXPECT_EQ("action: is unknown: burn", refusal("analytics", {{"action", "burn"}}));
    EXPECT_EQ("size: is missing", refusal("analytics", {{"action", "size"}}));
    EXPECT_EQ("size: must be a whole number from 0 to 1099511627776",
              refusal("analytics", {{"action", "size"}, {"size", -1}}));
    EXPECT_EQ("limit: is missing", refusal("analytics", {{"action", "limit"}}));
    EXPECT_EQ("limit: must be a whole number from 0 to 1099511627776",
              refusal("analytics", {{"action", "limit"}, {"limit", -1}}));
    EXPECT_EQ("odd number of hexadecimal digits", refusal("analytics", {{"action", "append"}, {"hex", "abc"}}));
    EXPECT_EQ("interval_ms: must be a whole number from 10 to 3600000",
              refusal("analytics", {{"action", "on"}, {"interval_ms", 1}}));
    EXPECT_EQ("size: unknown key", refusal("analytics", {{"action", "clear"}, {"size", 1}}));
    EXPECT_EQ("on_clear: must be empty, remove or keep", refusal("analytics", {{"action", "on_clear"}, {"what", "x"}}));
    EXPECT_EQ(nullptr, ask("analytics", {{"action", "status"}}).at("size"));
}

TEST(Control, EndsCleanlyOnSigtermAndSigint) {
    for (const int signal : {SIGTERM, SIGINT}) {
        ControlDaemon daemon;
        EXPECT_EQ(yes, exchange(openPacket));
        EXPECT_EQ(0, daemon.end(signal));
        EXPECT_FALSE(fileExists(control));
        EXPECT_FALSE(fileExists(admin));
    }
}

TEST(Control, StartsAgainAfterItWasKilled) {
    {
        ControlDaemon killed;
        killed.end(SIGKILL);
        EXPECT_TRUE(fileExists(control));
        unlink(admin); // only for the wait for the next one's
    }
    const ControlDaemon daemon;
    EXPECT_EQ(0, recording());
}

TEST(Control, AFaultyScenarioIsSaidAndEndsIt) {
    zvtest::SyslogCapture log;
    std::ofstream("/tmp/faulty.json") << R"({"state":{"recording":"yes"}})";
    std::filesystem::create_directories("/run/zarvo");
    EXPECT_EQ(1 << 8, std::system("'" ZV_CONTROL_DAEMON "' --scenario /tmp/faulty.json 2>/tmp/errors"));
    std::ifstream errors("/tmp/errors");
    std::string line;
    std::getline(errors, line);
    EXPECT_EQ("zvControlD: state.recording: must be a whole number from -2147483648 to 2147483647", line);
    EXPECT_THAT(log.texts(),
                testing::Contains("state.recording: must be a whole number from -2147483648 to 2147483647"));
    EXPECT_FALSE(fileExists(control));
}

TEST(Control, MalformedPacketsAreLoggedAndNotAnswered) {
    zvtest::SyslogCapture log;
    const ControlDaemon daemon;
    for (const std::vector<unsigned char>& packet : {std::vector<unsigned char>{1},
                                                     {'Z', 'C', 1, 1, 0, 0, 0},
                                                     {'Z', 'C', 2, 1, 0, 0, 0, 0},
                                                     {'Z', 'C', 1, 9, 0, 0, 0, 0},
                                                     {'Z', 'C', 1, 1, 0, 0, 0, 0, 0},
                                                     std::vector<unsigned char>(5000, 'Z'),
                                                     std::vector<unsigned char>(60000, 'Z')}) {
        EXPECT_TRUE(exchange(packet).empty());
    }
    EXPECT_THAT(log.texts(), testing::AllOf(testing::Contains("malformed request of 1 bytes"),
                                            testing::Contains("malformed request of 60000 bytes")));
    EXPECT_EQ(yes, exchange(openPacket));
}

TEST(Control, UnknownNumbersAreRefused) {
    const ControlDaemon daemon;
    const std::vector<unsigned char> invalid = {'Z', 'A', 1, 0, 0xFF, 0xFF, 0xFF, 0xFD};
    EXPECT_EQ(invalid, exchange({'Z', 'C', 1, 4, 0, 0, 0, 9}));
    EXPECT_EQ(invalid, exchange({'Z', 'C', 1, 5, 0xFF, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(invalid, exchange({'Z', 'C', 1, 6, 0, 0, 0, 1, 0, 0, 0, 0}));
    EXPECT_EQ((std::vector<unsigned char>{'Z', 'A', 1, 0, 0xFF, 0xFF, 0xFF, 0xEC}),
              exchange({'Z', 'C', 1, 3, 0, 0, 0, 40}));
}

TEST(Control, RandomPacketsDoNotEndIt) {
    ControlDaemon daemon;
    std::mt19937 random(20240306);
    for (int round = 0; round < 3000; ++round) {
        std::vector<unsigned char> packet(1 + random() % 24);
        for (unsigned char& byte : packet) {
            byte = static_cast<unsigned char>(random());
        }
        if (round % 3 != 0 && packet.size() > 4) {
            packet[0] = 'Z';
            packet[1] = 'C';
            packet[2] = 1;
            packet[3] %= 8;
            packet[4] = 0;
        }
        exchange(packet);
    }
    EXPECT_EQ(yes, exchange(openPacket));
    EXPECT_EQ(0, daemon.end(SIGTERM));
}

TEST(Control, RandomAdminLinesDoNotEndIt) {
    ControlDaemon daemon;
    std::mt19937 random(20240307);
    const std::string pieces[] = {
        "{", "}",  "\"op\"", ":", "\"set\"", "\"show\"",      ",",          "\"item\"",    "\"recording\"", "\"value\"",
        "1", "-1", "[",      "]", "null",    "\"analytics\"", "\"action\"", "\"\\u0000\"", "\xFF",          "\"fail\""};
    for (int round = 0; round < 300; ++round) {
        const zv::UniqueFd fd = connectUnix(admin, SOCK_STREAM);
        std::string lines;
        for (int line = 0; line < 10; ++line) {
            for (auto count = random() % 12; count > 0; --count) {
                lines += pieces[random() % std::size(pieces)];
            }
            lines += '\n';
        }
        send(fd.get(), lines.data(), lines.size(), MSG_NOSIGNAL);
    }
    EXPECT_EQ("", ask("set", {{"item", "ap_ssid"}, {"value", ""}}));
    EXPECT_EQ(0, daemon.end(SIGTERM));
}

TEST(Control, ValuesNestedTooDeepAreRefused) {
    ControlDaemon daemon;
    const std::string deep = std::string(32000, '[') + std::string(32000, ']');
    const std::string line = R"({"op":"set","item":"ap_has_default_credentials","value":)" + deep + "}\n";
    const zv::UniqueFd fd = connectUnix(admin, SOCK_STREAM);
    ASSERT_EQ(static_cast<ssize_t>(line.size()), send(fd.get(), line.data(), line.size(), MSG_NOSIGNAL));
    char answer[256];
    const ssize_t length = recv(fd.get(), answer, sizeof answer, 0);
    EXPECT_EQ("{\"error\":\"nested deeper than 16\",\"ok\":false}\n",
              std::string(answer, static_cast<std::size_t>(std::max<ssize_t>(length, 0))));
    EXPECT_EQ(0, daemon.end(SIGTERM));
}

TEST(Control, ManySilentConnectionsKeepNobodyOut) {
    const ControlDaemon daemon;
    std::vector<zv::UniqueFd> silent;
    for (int i = 0; i < 600; ++i) {
        silent.push_back(connectUnix(control, SOCK_SEQPACKET));
    }
    EXPECT_EQ(yes, exchange(openPacket));
    // The oldest were closed for it.
    char byte = 0;
    EXPECT_EQ(0, recv(silent.front().get(), &byte, 1, MSG_DONTWAIT));
    EXPECT_EQ(-1, recv(silent.back().get(), &byte, 1, MSG_DONTWAIT));
}

TEST(Control, FewDescriptorsAreEnough) {
    const rlimit few{24, 24};
    const rlimit many{1024, 1024};
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &many));
    ControlDaemon daemon;
    ASSERT_EQ(0, prlimit(daemon.pid(), RLIMIT_NOFILE, &few, nullptr));
    std::vector<zv::UniqueFd> silent;
    for (int i = 0; i < 100; ++i) {
        silent.push_back(connectUnix(control, SOCK_SEQPACKET));
    }
    EXPECT_EQ(yes, exchange(openPacket));
    EXPECT_EQ(0, daemon.end(SIGTERM));
}

TEST(Control, ClientsThatLeaveBeforeTheirAnswerDoNotMatter) {
    ControlDaemon daemon;
    daemon.halt();
    for (int i = 0; i < 100; ++i) {
        const zv::UniqueFd fd = connectUnix(control, SOCK_SEQPACKET);
        send(fd.get(), openPacket.data(), openPacket.size(), MSG_NOSIGNAL);
    }
    daemon.resume();
    EXPECT_EQ(yes, exchange(openPacket));
    EXPECT_EQ(0, daemon.end(SIGTERM));
}
