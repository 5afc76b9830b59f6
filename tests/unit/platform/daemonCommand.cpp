// Daemon commands against a real zvControlD.
#include "controlDaemonProcess.h"
#include "zvCtrlD.h"
#include "zvErrno.h"

#include <cstring>
#include <gtest/gtest.h>

using ControlDaemon = zvtest::ControlDaemonProcess;

TEST(DaemonCommand, GetAnswersThePathOfTheAnalyticsFile) {
    const ControlDaemon daemon;
    char path[257];
    EXPECT_EQ(0, zvcontrol_send_command_param_response(38, nullptr, 0, path, 257));
    EXPECT_STREQ("/tmp/fuse_d/analytics/analytics.bin", path);
}

TEST(DaemonCommand, TheAnswerIsCutToItsRoom) {
    const ControlDaemon daemon;
    char path[8];
    std::memset(path, '#', sizeof path);
    EXPECT_EQ(0, zvcontrol_send_command_param_response(38, nullptr, 0, path, 5));
    EXPECT_STREQ("/tmp", path);
    EXPECT_EQ('#', path[5]);
}

TEST(DaemonCommand, TheAnswerMayBeDropped) {
    const ControlDaemon daemon;
    char path[4] = "abc";
    EXPECT_EQ(0, zvcontrol_send_command_param_response(38, nullptr, 0, nullptr, 0));
    EXPECT_EQ(0, zvcontrol_send_command_param_response(38, nullptr, 0, nullptr, 257));
    EXPECT_EQ(0, zvcontrol_send_command_param_response(38, nullptr, 0, path, 0));
    EXPECT_STREQ("abc", path);
}

TEST(DaemonCommand, ClearAnswersNothing) {
    const ControlDaemon daemon;
    EXPECT_EQ(0, zvcontrol_send_command_param_response(39, nullptr, 0, nullptr, 0));
    char text[4] = "abc";
    EXPECT_EQ(0, zvcontrol_send_command_param_response(39, nullptr, 0, text, 4));
    EXPECT_STREQ("", text);
}

TEST(DaemonCommand, FailuresLeaveTheBuffer) {
    char text[4] = "abc";
    EXPECT_EQ(ZV_ERR, zvcontrol_send_command_param_response(38, nullptr, 0, text, 4));
    const ControlDaemon daemon;
    EXPECT_EQ(ZV_ERR_NOT_SUPPORTED, zvcontrol_send_command_param_response(37, nullptr, 0, text, 4));
    EXPECT_STREQ("abc", text);
}

TEST(DaemonCommand, SenselessParametersAreRefused) {
    const ControlDaemon daemon;
    const unsigned char param[5000] = {};
    EXPECT_EQ(ZV_ERR_INVALID_PARAM, zvcontrol_send_command_param_response(38, nullptr, 1, nullptr, 0));
    EXPECT_EQ(ZV_ERR_INVALID_PARAM, zvcontrol_send_command_param_response(38, param, -1, nullptr, 0));
    EXPECT_EQ(ZV_ERR_INVALID_PARAM, zvcontrol_send_command_param_response(38, param, 5000, nullptr, 0));
    char text[4] = "abc";
    EXPECT_EQ(ZV_ERR_INVALID_PARAM, zvcontrol_send_command_param_response(38, nullptr, 0, text, -1));
    EXPECT_STREQ("abc", text);
    EXPECT_EQ(0, zvcontrol_send_command_param_response(38, param, 4096, nullptr, 0));
}
