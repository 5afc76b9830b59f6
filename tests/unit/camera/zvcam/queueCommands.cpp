// The tool's subcommands for radio, faults and trace, against the real daemons.
#include "daemonProcess.h"

#include <csignal>
#include <fstream>
#include <gmock/gmock.h>

namespace {

using namespace zvtest;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

constexpr const char* reply = "/to_ZVCC12";

Ended zvcamTool(std::vector<std::string> words) {
    words.insert(words.begin(), {"--run-dir", "/run/zarvo"});
    return runToEnd("zvcam", words);
}

Ended done(std::vector<std::string> words) {
    Ended ended = zvcamTool(std::move(words));
    EXPECT_EQ(0, ended.status) << ended.error;
    return ended;
}

class ToolTest : public testing::Test {
protected:
    zvcamera::Json state(const char* part) { return ble_.call("ble").at(part); }
    DaemonProcess net_{"zvNetD"};
    DaemonProcess ble_{"zvBleD"};
};

TEST_F(ToolTest, SetsAndShowsTheRadio) {
    done({"ble", "set", "auto_connect=0", "whitelist_page=30"});
    EXPECT_EQ(0, state("auto_connect"));
    EXPECT_EQ(30, state("settings").at("whitelist_page"));
    done({"ble", "device", "set", "112233445566", "name=12", "rssi=-40", "rssi_variation=0", "uuid16=180d,180f",
          "presence=present", "mitm=true", "found_after_ms=0"});
    EXPECT_EQ("devices: 1\n  112233445566  type 0   -40 dBm  \"12\" 180d 180f, "
              "in range, present, pairing success, mitm\n"
              "                rssi=-40 rssi_variation=0 from_ms=0 to_ms=0 period_ms=0 "
              "found_after_ms=0 pairing_ms=-1\n",
              done({"ble", "device"}).out);
    done({"ble", "whitelist", "set", "a1b2c3d4e5f6", "name=One", "auto_connect=true", "address_type=1"});
    done({"ble", "whitelist", "set", "000000000001", "name=Two"});
    done({"ble", "connect", "a1b2c3d4e5f6"});
    done({"ble", "whitelist", "remove", "000000000001"});
    done({"ble", "rebuild", "whitelist", "9"});
    EXPECT_EQ("whitelist: list id 9, 2 slots\n"
              "    0  a1b2c3d4e5f6  type 1  \"One\" auto_connect connected\n"
              "    1  free: 000000000001  type 0  \"Two\"\n",
              done({"ble", "whitelist"}).out);
    done({"ble", "disconnect", "a1b2c3d4e5f6"});
    EXPECT_EQ(false, state("whitelist").at("slots")[0].at("connected"));
    done({"ble", "whitelist", "clear"});
    EXPECT_EQ(0U, state("whitelist").at("slots").size());
    done({"ble", "scan", "start"});
    EXPECT_THAT(done({"ble", "scan"}).out,
                MatchesRegex("scan: running, mode 1, list id 1, 1 found\n"
                             "  112233445566  type 0   -40 dBm  \"12\" 180d 180f, heard at [0-9]+ ms\n"));
    done({"ble", "scan", "stop"});
    EXPECT_EQ(false, state("scan").at("running"));
    done({"ble", "pairing", "start", "112233445566"});
    done({"ble", "pairing", "end", "timeout"});
    EXPECT_EQ("pairing: 5 (timed out), device 112233445566 type 0\n", done({"ble", "pairing"}).out);
    done({"ble", "pairing", "status", "200"});
    EXPECT_EQ(200, state("pairing").at("status"));
    EXPECT_EQ("pairing: 200 (unknown status) by hand, its own 5 (timed out), device 112233445566 type 0\n",
              done({"ble", "pairing"}).out);
    EXPECT_EQ(zvcamera::Json::parse(done({"--json", "ble", "pairing"}).out), state("pairing"));
    done({"ble", "pairing", "status", "--own"});
    EXPECT_EQ("pairing: 5 (timed out), device 112233445566 type 0\n", done({"ble", "pairing"}).out);
    EXPECT_THAT(done({"ble"}).out, MatchesRegex("time: [0-9]+ ms since the start\n"
                                                "settings: auto_connect=0 (.|\n)*"));
    done({"ble", "device", "remove", "112233445566"});
    EXPECT_TRUE(state("devices").empty());
}

TEST_F(ToolTest, SaysWhatTheRadioRefuses) {
    const Ended refused = zvcamTool({"ble", "set", "foo=1"});
    EXPECT_EQ(1, refused.status);
    EXPECT_EQ("zvcam: settings.foo: unknown key\n", refused.error);
    EXPECT_EQ("zvcam: must be key=value: foo\n", zvcamTool({"ble", "set", "foo"}).error);
    EXPECT_EQ("zvcam: no such device\n", zvcamTool({"ble", "device", "remove", "112233445566"}).error);
    EXPECT_EQ(2, zvcamTool({"ble", "rebuild", "other"}).status);
    EXPECT_EQ(2, zvcamTool({"ble", "pairing", "status"}).status);
    EXPECT_EQ(2, zvcamTool({"ble", "pairing", "status", "256"}).status);
    EXPECT_EQ(2, zvcamTool({"ble", "pairing", "status", "7", "--own"}).status);
    ble_.end(SIGTERM);
    EXPECT_EQ(3, zvcamTool({"ble"}).status);
}

TEST_F(ToolTest, AConnectionToADeviceOutOfRangeIsUndoneAtOnce) {
    done({"ble", "device", "set", "112233445566", "presence=away"});
    done({"ble", "whitelist", "set", "112233445566"});
    done({"ble", "whitelist", "set", "000000000001"}); // not among the devices
    done({"ble", "connect", "112233445566"});
    done({"ble", "connect", "000000000001"});
    EXPECT_EQ(false, state("whitelist").at("slots")[0].at("connected"));
    EXPECT_EQ(true, state("whitelist").at("slots")[1].at("connected"));
    done({"ble", "device", "set", "112233445566", "presence=present"});
    done({"ble", "connect", "112233445566"});
    EXPECT_EQ(true, state("whitelist").at("slots")[0].at("connected"));
}

TEST_F(ToolTest, ShowsTheQueuesCountsAndTheBacklog) {
    ASSERT_TRUE(sendTo("/to_zvnet", {1}));
    EXPECT_EQ(1U, net_.waitForCount("skipped", 1));
    const zvcamera::Json counts = zvcamera::Json::parse(done({"--json", "queue"}).out);
    EXPECT_EQ(counts.at("zvBleD"), ble_.call("queue"));
    zvcamera::Json expected = net_.call("queue");
    expected["backlog"] = 0;
    EXPECT_EQ(expected, counts.at("zvNetD"));
    EXPECT_EQ(1, expected.at("skipped"));
    EXPECT_THAT(done({"queue"}).out, HasSubstr("zvNetD\n  answered    0\n  backlog     0\n"));
}

TEST_F(ToolTest, AddsListsAndRemovesFaultsOfBothDaemons) {
    EXPECT_EQ("added\n  ble:1\n",
              done({"fault", "add", "scan_list", "late", "300", "--count", "2", "--skip", "1"}).out);
    done({"fault", "add", "PD", "missing"});
    EXPECT_EQ("added\n  ble:2\n  net:2\n", done({"fault", "add", "*", "refused", "9"}).out);
    EXPECT_EQ("ble:1  scan_list  late  ms=300  skip 1, left 2, hits 0\n"
              "ble:2  *  refused  status=9  skip 0, left all, hits 0\n"
              "net:1  PD  missing  skip 0, left all, hits 0\n"
              "net:2  *  refused  status=9  skip 0, left all, hits 0\n",
              done({"fault", "list"}).out);
    done({"fault", "remove", "ble:2"});
    EXPECT_EQ(1U, ble_.call("fault_list").size());
    EXPECT_EQ(3U, zvcamera::Json::parse(done({"--json", "fault", "list"}).out).size());
    done({"fault", "clear"});
    EXPECT_TRUE(ble_.call("fault_list").empty());
    EXPECT_TRUE(net_.call("fault_list").empty());
    EXPECT_EQ("zvcam: command: scan does not answer pages, which index spoils\n",
              zvcamTool({"fault", "add", "scan", "index"}).error);
    EXPECT_EQ("zvcam: the fault missing takes no value\n", zvcamTool({"fault", "add", "scan", "missing", "5"}).error);
    EXPECT_EQ("zvcam: no fault rule with this id\n", zvcamTool({"fault", "remove", "ble:9"}).error);
    EXPECT_EQ(1, zvcamTool({"fault", "remove", "9"}).status);
}

TEST_F(ToolTest, ATraceFileIsDecodedToWhatTheTraceShows) {
    TestQueue answers(reply);
    ASSERT_TRUE(sendTo("/to_zvnet", request("BL", {4, 0, 15}, reply, "/to_ble")));
    ASSERT_TRUE(answers.receive());
    ASSERT_TRUE(sendTo("/to_zvnet", {1, 2}));
    EXPECT_EQ(1U, net_.waitForCount("skipped", 1));
    done({"trace", "--file", "/tmp/trace.jsonl"});
    const std::string shown = done({"trace"}).out;
    EXPECT_EQ(shown, done({"decode", "/tmp/trace.jsonl"}).out);
    EXPECT_THAT(shown, HasSubstr("    0014    command: 4 (scan_list)\n    0015    start index: 0\n"));
    EXPECT_THAT(shown, HasSubstr("zvBleD -> /to_ZVCC12  17 bytes  reply to scan_list, status 0 (ok)  [sent]\n"));
    EXPECT_THAT(shown, HasSubstr("2 bytes  malformed: shorter than a message header"));
    const std::string brief = done({"trace", "-b"}).out;
    EXPECT_EQ(5, std::count(brief.begin(), brief.end(), '\n'));
    done({"trace", "--clear"});
    EXPECT_EQ("", done({"trace"}).out);
    std::ofstream("/tmp/wrong.jsonl") << "{\"hex\":\"0\"}\n";
    EXPECT_EQ("zvcam: /tmp/wrong.jsonl, line 1: direction: must be \"in\" or \"out\"\n",
              zvcamTool({"decode", "/tmp/wrong.jsonl"}).error);
    EXPECT_EQ("zvcam: /none: cannot be opened\n", zvcamTool({"decode", "/none"}).error);
}

TEST_F(ToolTest, ATraceOfOneDaemonNamesTheOtherThatIsMissing) {
    ble_.end(SIGTERM);
    ASSERT_TRUE(sendTo("/to_zvnet", {1}));
    EXPECT_EQ(1U, net_.waitForCount("skipped", 1));
    const Ended ended = done({"trace", "-b"});
    EXPECT_THAT(ended.out, HasSubstr("zvNetD <- /to_zvnet"));
    EXPECT_THAT(ended.error, HasSubstr("zvBleD does not run"));
    net_.end(SIGTERM);
    EXPECT_EQ(3, zvcamTool({"trace"}).status);
}

TEST_F(ToolTest, WhatIsForBothDaemonsReachesTheOneThatRunsAndNamesTheOther) {
    const auto namesNetwork = [](const Ended& ended) {
        EXPECT_THAT(ended.error, HasSubstr("zvNetD does not run"));
        return ended.out;
    };
    done({"fault", "add", "scan", "missing"});
    ASSERT_TRUE(sendTo("/to_ble", {1}));
    EXPECT_EQ(1U, ble_.waitForCount("skipped", 1));
    net_.end(SIGTERM);
    EXPECT_EQ("ble:1  scan  missing  skip 0, left all, hits 0\n", namesNetwork(done({"fault", "list"})));
    EXPECT_EQ("added\n  ble:2\n", namesNetwork(done({"fault", "add", "*", "late"})));
    EXPECT_THAT(namesNetwork(done({"queue"})), HasSubstr("zvBleD\n  answered    0\n"));
    EXPECT_EQ("", namesNetwork(done({"fault", "clear"})));
    EXPECT_TRUE(ble_.call("fault_list").empty());
    EXPECT_EQ("", namesNetwork(done({"trace", "--clear"})));
    EXPECT_TRUE(ble_.call("trace").empty());
    EXPECT_EQ(3, zvcamTool({"fault", "add", "PD", "late"}).status); // its only daemon
}

TEST_F(ToolTest, ClearingReachesTheNetworkDaemonWithoutTheOther) {
    done({"fault", "add", "PD", "missing"});
    ble_.end(SIGTERM);
    EXPECT_THAT(done({"fault", "clear"}).error, HasSubstr("zvBleD does not run"));
    EXPECT_TRUE(net_.call("fault_list").empty());
}

TEST_F(ToolTest, WhatIsForBothDaemonsFailsWithoutAny) {
    net_.end(SIGTERM);
    ble_.end(SIGTERM);
    for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
             {"fault", "list"}, {"fault", "add", "*", "late"}, {"fault", "clear"}, {"trace", "--clear"}, {"queue"}}) {
        const Ended ended = zvcamTool(words);
        EXPECT_EQ(3, ended.status) << words[0];
        EXPECT_EQ("", ended.out);
        EXPECT_THAT(ended.error, HasSubstr("zvNetD does not run"));
        EXPECT_THAT(ended.error, HasSubstr("zvBleD does not run"));
    }
}

} // namespace
