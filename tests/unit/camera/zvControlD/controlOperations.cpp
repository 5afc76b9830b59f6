// The tool's operations of zvControlD, asked of the real program.
#include "controlDaemonCalls.h"
#include "controlDaemonProcess.h"
#include "zvCtrlD.h"

#include <gtest/gtest.h>
#include <random>

using namespace zvcamera;
using zvtest::ControlDaemonProcess;

TEST(ControlOperations, ShowsEverythingAndOneItem) {
    const ControlDaemonProcess daemon(R"({"identity":{"model_number":20},"state":{"recording":1}})");
    const Json all = ask("show");
    EXPECT_EQ(20, all.at("identity").at("model_number"));
    EXPECT_EQ(1, all.at("state").at("recording"));
    EXPECT_EQ(Json::object(), all.at("failures"));
    EXPECT_EQ("/tmp/fuse_d/analytics/analytics.bin", all.at("analytics").at("path"));
    EXPECT_EQ(20, ask("show", {{"item", "model_number"}}));
    EXPECT_EQ("unknown item colour", refusal("show", {{"item", "colour"}}));
    EXPECT_EQ("colour: unknown key", refusal("show", {{"colour", "x"}}));
}

TEST(ControlOperations, ASetItemIsReadByTheLibraries) {
    const ControlDaemonProcess daemon;
    EXPECT_EQ(1, ask("set", {{"item", "recording"}, {"value", 1}}));
    EXPECT_EQ(1, recording());
    EXPECT_EQ(0, ask("set", {{"item", "recording"}, {"value", "0"}}));
    EXPECT_EQ(0, recording());
    ask("set", {{"item", "ap_ssid"}, {"value", "caf\xC3\xA9"}});
    char text[16];
    EXPECT_EQ(0, zvc_state_get_ap_ssid(text, 16));
    EXPECT_STREQ("caf\xC3\xA9", text);
}

TEST(ControlOperations, RefusesWhatCannotBeSet) {
    const ControlDaemonProcess daemon;
    EXPECT_EQ("item: is missing", refusal("set", {{"value", 1}}));
    EXPECT_EQ("value: is missing", refusal("set", {{"item", "recording"}}));
    EXPECT_EQ("unknown item colour", refusal("set", {{"item", "colour"}, {"value", 1}}));
    EXPECT_EQ("recording: must be a whole number from -2147483648 to 2147483647",
              refusal("set", {{"item", "recording"}, {"value", "x"}}));
    EXPECT_EQ("more: unknown key", refusal("set", {{"item", "recording"}, {"value", 1}, {"more", 1}}));
    EXPECT_EQ("unknown op paint", refusal("paint"));
    EXPECT_EQ(0, recording());
}

TEST(ControlOperations, RefusesSenselessFailures) {
    const ControlDaemonProcess daemon;
    EXPECT_EQ("code: must be a whole number from -2147483648 to -1",
              refusal("fail", {{"item", "recording"}, {"code", 0}}));
    EXPECT_EQ("code: is missing", refusal("fail", {{"item", "recording"}}));
    EXPECT_EQ("unknown item colour", refusal("fail", {{"item", "colour"}, {"code", -1}}));
    EXPECT_EQ("unknown item colour", refusal("unfail", {{"item", "colour"}}));
}

TEST(ControlOperations, CommandsOfTheAnalyticsFile) {
    const ControlDaemonProcess daemon;
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

TEST(ControlOperations, RefusesSenselessAnalyticsActions) {
    const ControlDaemonProcess daemon;
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

TEST(ControlOperations, RandomAdminLinesDoNotEndIt) {
    ControlDaemonProcess daemon;
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

TEST(ControlOperations, ValuesNestedTooDeepAreRefused) {
    ControlDaemonProcess daemon;
    const std::string deep = std::string(32000, '[') + std::string(32000, ']');
    const std::string line = R"({"op":"set","item":"ap_has_default_credentials","value":)" + deep + "}\n";
    const zv::UniqueFd fd = connectUnix(admin, SOCK_STREAM);
    ASSERT_EQ(static_cast<ssize_t>(line.size()), send(fd.get(), line.data(), line.size(), MSG_NOSIGNAL));
    char answer[256];
    const ssize_t length = recv(fd.get(), answer, sizeof answer, 0);
    EXPECT_EQ("{\"error\":\"nested deeper than 16\",\"kind\":\"invalid\",\"ok\":false}\n",
              std::string(answer, static_cast<std::size_t>(std::max<ssize_t>(length, 0))));
    EXPECT_EQ(0, daemon.end(SIGTERM));
}

TEST(ControlOperations, TellsWhichGatewayServesWhichClient) {
    const ControlDaemonProcess daemon;
    EXPECT_EQ(Json::array(), ask("openings"));
    EXPECT_EQ(yes, exchange(openPacket));
    EXPECT_EQ(yes, exchange({'Z', 'C', 1, 1, 0, 0, 0, 0, '4', '0', '1'}));
    const Json told = ask("openings");
    ASSERT_EQ(1U, told.size());
    EXPECT_EQ(401, told[0].at("port"));
    EXPECT_EQ(getpid(), told[0].at("pid"));
}
