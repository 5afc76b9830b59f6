// The state getters against a real zvControlD.
#include "controlDaemonProcess.h"
#include "controlScenario.h"
#include "csi.h"
#include "zvCtrlD.h"
#include "zvErrno.h"

#include <chrono>
#include <cstring>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using ControlDaemon = zvtest::ControlDaemonProcess;
using zvtest::scenario;

using TextGetter = int (*)(char*, int);
struct TextRow {
    TextGetter get;
    const char* text;
};
constexpr TextRow texts[] = {
    {zvc_state_get_model_name, "Name"},     {zvc_state_get_firmware_version, "HD9.01.02"},
    {zvc_state_get_serial_number, "C1234"}, {zvc_state_get_board_type, "0x07"},
    {zvc_state_get_ap_mac, "d0d919aabbcc"}, {zvc_state_get_ap_ssid, "caf\xC3\xA9 \"x\""},
};

} // namespace

TEST(StateGetters, GiveWhatTheDaemonHolds) {
    const ControlDaemon daemon(scenario);
    unsigned char number = 0;
    EXPECT_EQ(0, zvc_state_get_model_number(&number));
    EXPECT_EQ(34, number);
    for (const TextRow& row : texts) {
        char text[256] = "before";
        EXPECT_EQ(0, row.get(text, 256));
        EXPECT_STREQ(row.text, text);
    }
    bool flag = true;
    EXPECT_EQ(0, zvc_state_get_ap_has_default_credentials(&flag));
    EXPECT_FALSE(flag);
}

TEST(StateGetters, TextsAreCutToTheirRoom) {
    const ControlDaemon daemon(scenario);
    char text[8];
    std::memset(text, '#', sizeof text);
    EXPECT_EQ(0, zvc_state_get_serial_number(text, 4));
    EXPECT_STREQ("C12", text);
    EXPECT_EQ('#', text[4]);
    EXPECT_EQ(0, zvc_state_get_serial_number(text, 6));
    EXPECT_STREQ("C1234", text);
    EXPECT_EQ(0, zvc_state_get_serial_number(text, 1));
    EXPECT_STREQ("", text);
}

TEST(StateGetters, LongTextsAreCutAndShortOnesMayBeEmpty) {
    const ControlDaemon daemon(R"({"identity":{"ap_ssid":")" + std::string(4096, 's') + R"(","model_name":""}})");
    char text[256];
    EXPECT_EQ(0, zvc_state_get_ap_ssid(text, 256));
    EXPECT_EQ(std::string(255, 's'), text);
    EXPECT_EQ(0, zvc_state_get_model_name(text, 256));
    EXPECT_STREQ("", text);
}

TEST(StateGetters, UselessOutputsAreRefused) {
    char text[4] = "abc";
    for (const TextRow& row : texts) {
        EXPECT_EQ(ZV_ERR_INVALID_PARAM, row.get(nullptr, 256));
        EXPECT_EQ(ZV_ERR_INVALID_PARAM, row.get(text, 0));
        EXPECT_EQ(ZV_ERR_INVALID_PARAM, row.get(text, -1));
    }
    EXPECT_STREQ("abc", text);
    EXPECT_EQ(ZV_ERR_INVALID_PARAM, zvc_state_get_model_number(nullptr));
    EXPECT_EQ(ZV_ERR_INVALID_PARAM, zvc_state_get_ap_has_default_credentials(nullptr));
}

TEST(StateGetters, AbsentDaemonFailsAtOnceAndLeavesTheOutputs) {
    const auto start = std::chrono::steady_clock::now();
    unsigned char number = 13;
    bool flag = true;
    int value = 5;
    int returned = 9;
    EXPECT_EQ(ZV_ERR, zvc_state_get_model_number(&number));
    EXPECT_EQ(ZV_ERR, zvc_state_get_ap_has_default_credentials(&flag));
    for (const TextRow& row : texts) {
        char text[8] = "before";
        EXPECT_EQ(ZV_ERR, row.get(text, 8));
        EXPECT_STREQ("before", text);
    }
    EXPECT_EQ(ZV_ERR, csi_get(CSI_RECORDING, 4, &returned, &value));
    EXPECT_EQ(13, number);
    EXPECT_TRUE(flag);
    EXPECT_EQ(5, value);
    EXPECT_EQ(9, returned);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

TEST(StateGetters, AStoppedDaemonFailsAfterFiveSeconds) {
    ControlDaemon daemon(scenario);
    daemon.halt();
    const auto start = std::chrono::steady_clock::now();
    unsigned char number = 13;
    EXPECT_EQ(ZV_ERR, zvc_state_get_model_number(&number));
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(13, number);
    EXPECT_GE(took, std::chrono::milliseconds(4990));
    EXPECT_LT(took, std::chrono::seconds(8));
    daemon.resume();
    EXPECT_EQ(0, zvc_state_get_model_number(&number));
    EXPECT_EQ(34, number);
}

TEST(StateGetters, Serve64ProcessesAtOnce) {
    const ControlDaemon daemon(scenario);
    int gate[2];
    ASSERT_EQ(0, pipe(gate));
    std::vector<pid_t> children;
    for (int i = 0; i < 64; ++i) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            close(gate[1]);
            char byte = 0;
            [[maybe_unused]] const ssize_t opened = read(gate[0], &byte, 1); // until the gate is closed
            bool right = zvcontrol_uri_interface_open() == 0;
            for (int round = 0; right && round < 20; ++round) {
                char text[256];
                int value = 0;
                right = zvc_state_get_ap_mac(text, 256) == 0 && std::strcmp(text, "d0d919aabbcc") == 0 &&
                        csi_get(CSI_RECORDING, 4, nullptr, &value) == 0 && value == 1;
            }
            _exit(right && zvcontrol_uri_interface_close() == 0 ? 0 : 1);
        }
        children.push_back(child);
    }
    close(gate[0]);
    close(gate[1]);
    for (const pid_t child : children) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(0, status);
    }
}
