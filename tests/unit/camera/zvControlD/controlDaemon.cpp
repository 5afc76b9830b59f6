// zvControlD as a process: what the control libraries are answered, the services that fail, and what it must survive.
#include "controlClient.h"
#include "controlDaemonCalls.h"
#include "controlDaemonProcess.h"
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
using zvtest::ControlDaemonProcess;

TEST(ControlDaemon, EveryItemCanBeMadeToFail) {
    const ControlDaemonProcess daemon;
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

TEST(ControlDaemon, TheInterfaceCanBeMadeToFail) {
    const ControlDaemonProcess daemon;
    ask("fail", {{"item", "uri_interface_open"}, {"code", -16}});
    EXPECT_EQ(-16, zvcontrol_uri_interface_open());
    ask("unfail", {{"item", "all"}});
    ask("fail", {{"item", "uri_interface_close"}, {"code", -1}});
    EXPECT_EQ(0, zvcontrol_uri_interface_open());
    EXPECT_EQ(-1, zvcontrol_uri_interface_close());
}

TEST(ControlDaemon, CommandsOfTheAnalyticsFileCanBeMadeToFail) {
    const ControlDaemonProcess daemon(R"({"analytics":{"size":100}})");
    ask("fail", {{"item", "analytics_get"}, {"code", -5}});
    ask("fail", {{"item", "analytics_clear"}, {"code", -6}});
    char path[8] = "before";
    EXPECT_EQ(-5, zvcontrol_send_command_param_response(38, nullptr, 0, path, 8));
    EXPECT_STREQ("before", path);
    EXPECT_EQ(-6, zvcontrol_send_command_param_response(39, nullptr, 0, nullptr, 0));
    EXPECT_EQ(100, ask("analytics", {{"action", "status"}}).at("size"));
}

TEST(ControlDaemon, ClearingThatCannotBeDoneIsToldToTheClient) {
    const ControlDaemonProcess daemon;
    std::filesystem::create_directories("/tmp/fuse_d/analytics/analytics.bin");
    EXPECT_EQ(ZV_ERR_FILE_WRITE, zvcontrol_send_command_param_response(39, nullptr, 0, nullptr, 0));
}

TEST(ControlDaemon, EndsCleanlyOnSigtermAndSigint) {
    for (const int signal : {SIGTERM, SIGINT}) {
        ControlDaemonProcess daemon;
        EXPECT_EQ(yes, exchange(openPacket));
        EXPECT_EQ(0, daemon.end(signal));
        EXPECT_FALSE(fileExists(control));
        EXPECT_FALSE(fileExists(admin));
    }
}

TEST(ControlDaemon, StartsAgainAfterItWasKilled) {
    {
        ControlDaemonProcess killed;
        killed.end(SIGKILL);
        EXPECT_TRUE(fileExists(control));
        unlink(admin); // only for the wait for the next one's
    }
    const ControlDaemonProcess daemon;
    EXPECT_EQ(0, recording());
}

TEST(ControlDaemon, AFaultyScenarioIsSaidAndEndsIt) {
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

namespace {

// Status and standard error of a check of this scenario.
std::pair<int, std::string> checked(const char* scenario) {
    std::ofstream("/tmp/checked.json") << scenario;
    const int status = std::system("cd /tmp && '" ZV_CONTROL_DAEMON "' --check checked.json 2>/tmp/errors");
    std::ifstream errors("/tmp/errors");
    return {status >> 8, {std::istreambuf_iterator<char>(errors), {}}};
}

} // namespace

TEST(ControlDaemon, ChecksAScenarioAndStartsNothing) {
    EXPECT_EQ(std::pair(0, std::string()), checked(R"({"identity":{"model_number":20},"analytics":{"size":9}})"));
    EXPECT_EQ(std::pair(1, std::string("checked.json: identity.model_number: must be a whole number from 0 to 255\n")),
              checked(R"({"identity":{"model_number":256}})"));
    EXPECT_EQ(std::pair(1, std::string("checked.json: analytics.on_clear: must be empty, remove or keep\n")),
              checked(R"({"analytics":{"on_clear":"burn"}})"));
    EXPECT_EQ(std::pair(1, std::string("checked.json: bel: unknown key\n")), checked(R"({"bel":{}})"));
    EXPECT_FALSE(fileExists(control));
    EXPECT_FALSE(fileExists("/tmp/fuse_d/analytics/analytics.bin"));
}

TEST(ControlDaemon, MalformedPacketsAreLoggedAndNotAnswered) {
    zvtest::SyslogCapture log;
    const ControlDaemonProcess daemon;
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

TEST(ControlDaemon, UnknownNumbersAreRefused) {
    const ControlDaemonProcess daemon;
    const std::vector<unsigned char> invalid = {'Z', 'A', 1, 0, 0xFF, 0xFF, 0xFF, 0xFD};
    EXPECT_EQ(invalid, exchange({'Z', 'C', 1, 4, 0, 0, 0, 9}));
    EXPECT_EQ(invalid, exchange({'Z', 'C', 1, 5, 0xFF, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(invalid, exchange({'Z', 'C', 1, 6, 0, 0, 0, 1, 0, 0, 0, 0}));
    EXPECT_EQ((std::vector<unsigned char>{'Z', 'A', 1, 0, 0xFF, 0xFF, 0xFF, 0xEC}),
              exchange({'Z', 'C', 1, 3, 0, 0, 0, 40}));
}

TEST(ControlDaemon, RandomPacketsDoNotEndIt) {
    ControlDaemonProcess daemon;
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

TEST(ControlDaemon, ManySilentConnectionsKeepNobodyOut) {
    const ControlDaemonProcess daemon;
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

TEST(ControlDaemon, FewDescriptorsAreEnough) {
    const rlimit few{24, 24};
    const rlimit many{1024, 1024};
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &many));
    ControlDaemonProcess daemon;
    ASSERT_EQ(0, prlimit(daemon.pid(), RLIMIT_NOFILE, &few, nullptr));
    std::vector<zv::UniqueFd> silent;
    for (int i = 0; i < 100; ++i) {
        silent.push_back(connectUnix(control, SOCK_SEQPACKET));
    }
    EXPECT_EQ(yes, exchange(openPacket));
    EXPECT_EQ(0, daemon.end(SIGTERM));
}

TEST(ControlDaemon, ClientsThatLeaveBeforeTheirAnswerDoNotMatter) {
    ControlDaemonProcess daemon;
    daemon.halt();
    for (int i = 0; i < 100; ++i) {
        const zv::UniqueFd fd = connectUnix(control, SOCK_SEQPACKET);
        send(fd.get(), openPacket.data(), openPacket.size(), MSG_NOSIGNAL);
    }
    daemon.resume();
    EXPECT_EQ(yes, exchange(openPacket));
    EXPECT_EQ(0, daemon.end(SIGTERM));
}
