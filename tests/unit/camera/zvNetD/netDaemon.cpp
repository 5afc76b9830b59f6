#include "daemonProcess.h"
#include "syslogCapture.h"
#include "unixSocket.h"

#include <csignal>
#include <gmock/gmock.h>
#include <random>
#include <sys/socket.h>
#include <thread>

namespace {

using namespace zvtest;
using std::chrono::milliseconds;
using ::testing::Contains;
using ::testing::HasSubstr;

constexpr const char* net = "/to_zvnet";
constexpr const char* reply = "/to_ZVCC12";

Bytes statusReply(std::uint8_t status) {
    return {0x00, 0x0d, 0x00, 0x03, 0x00, 0x00, 0x01, 0x45, status, 0x00, 0x00, 0x00, 0xee};
}

const Bytes enter{0x00, 0x2f, 0x00, 0x02, 0x00, 0x00, 0x02, 0x41, 'P', 'D', 0x00, 0x00, 0x02, 0x42, 0x01, 0x03,
                  0x00, 0x00, 0x0a, 0x44, '/',  't',  'o',  '_',  'Z', 'V', 'C',  'C',  '1',  '2',  0x00, 0x00,
                  0x09, 0x43, '/',  't',  'o',  '_',  'z',  'v',  'n', 'e', 't',  0x00, 0x00, 0x00, 0xee};
const Bytes leave{0x00, 0x2d, 0x00, 0x02, 0x00, 0x00, 0x02, 0x41, 'P', 'X', 0x00, 0x00, 0x00, 0x42, 0x00,
                  0x00, 0x0a, 0x44, '/',  't',  'o',  '_',  'Z',  'V', 'C', 'C',  '1',  '2',  0x00, 0x00,
                  0x09, 0x43, '/',  't',  'o',  '_',  'z',  'v',  'n', 'e', 't',  0x00, 0x00, 0x00, 0xee};

int pairingState(DaemonProcess& control) {
    return control.call("show", {{"item", "ap_pairing_state"}}).begin()->get<int>();
}

TEST(ZvNetD, PairingPhaseSetsTheAccessPointsState) {
    DaemonProcess control("zvControlD");
    DaemonProcess daemon("zvNetD");
    TestQueue answers(reply);
    ASSERT_TRUE(sendTo(net, enter));
    EXPECT_EQ(answers.receive(), statusReply(0));
    EXPECT_EQ(pairingState(control), 1);
    ASSERT_TRUE(sendTo(net, leave));
    EXPECT_EQ(answers.receive(), statusReply(0));
    EXPECT_EQ(pairingState(control), 0);
}

TEST(ZvNetD, WithoutZvControlDThePairingPhaseIsUnreachable) {
    DaemonProcess daemon("zvNetD");
    TestQueue answers(reply);
    ASSERT_TRUE(sendTo(net, enter));
    EXPECT_EQ(answers.receive(), statusReply(6));
}

TEST(ZvNetD, ASilentZvControlDHoldsNobodyElse) {
    DaemonProcess daemon("zvNetD");
    const zvcam::UniqueFd silent = zvcam::listenUnix("/run/zarvo/zvControlD.sock", SOCK_SEQPACKET);
    TestQueue answers(reply);
    TestQueue others("/to_ZVCC13");
    ASSERT_TRUE(sendTo(net, enter));
    ASSERT_TRUE(sendTo(net, request("??", {}, "/to_ZVCC13", net)));
    EXPECT_EQ(others.receive(milliseconds(2000)), statusReply(1));
    EXPECT_EQ(answers.receive(milliseconds(8000)), statusReply(6)); // after its five seconds
}

TEST(ZvNetD, MoreThanSixtyFourWaitingForZvControlDAreRefusedAtOnce) {
    DaemonProcess daemon("zvNetD");
    const zvcam::UniqueFd silent = zvcam::listenUnix("/run/zarvo/zvControlD.sock", SOCK_SEQPACKET);
    TestQueue waiting(reply, 10, 1500);
    TestQueue refused("/to_ZVCC13", 10, 1500);
    for (int i = 0; i < 64; ++i) {
        ASSERT_TRUE(sendTo(net, i % 2 == 0 ? enter : leave));
    }
    ASSERT_TRUE(sendTo(net, request("PD", {1, 3}, refused.name(), net)));
    ASSERT_TRUE(sendTo(net, request("PX", {}, refused.name(), net)));
    EXPECT_EQ(refused.receive(milliseconds(2000)), statusReply(6));
    EXPECT_EQ(refused.receive(milliseconds(2000)), statusReply(6));
    EXPECT_EQ(waiting.receive(milliseconds(0)), std::nullopt); // the others still wait
    EXPECT_EQ(waiting.receive(milliseconds(8000)), statusReply(6));
}

TEST(ZvNetD, PassesRequestsForTheBleDaemonOnUnchanged) {
    DaemonProcess daemon("zvNetD");
    TestQueue ble("/to_ble", 10, 2048);
    const Bytes message = request("BL", {9}, reply, "/to_ble");
    ASSERT_TRUE(sendTo(net, message));
    EXPECT_EQ(ble.receive(), message);
}

TEST(ZvNetD, RefusesAtOnceWhenTheBleDaemonIsAbsent) {
    DaemonProcess daemon("zvNetD");
    TestQueue answers(reply);
    ASSERT_TRUE(sendTo(net, request("BL", {9}, reply, "/to_ble")));
    EXPECT_EQ(answers.receive(), statusReply(6));
}

TEST(ZvNetD, KeepsABacklogInOrderForAFullQueueAndThenRefuses) {
    DaemonProcess daemon("zvNetD");
    TestQueue ble("/to_ble", 2, 2048);
    TestQueue answers(reply, 10, 1500);
    constexpr std::uint8_t room = 2 + 64;
    for (std::uint8_t i = 0; i < room + 3; ++i) {
        ASSERT_TRUE(sendTo(net, request("BL", {9, i}, reply, "/to_ble")));
    }
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(answers.receive(), statusReply(6));
    }
    EXPECT_EQ(daemon.call("backlog"), 64);
    for (std::uint8_t i = 0; i < room; ++i) {
        EXPECT_EQ(ble.receive(), request("BL", {9, i}, reply, "/to_ble"));
    }
    EXPECT_EQ(answers.receive(milliseconds(50)), std::nullopt);
}

TEST(ZvNetD, UnknownTagsAndDestinationsAreRefused) {
    DaemonProcess daemon("zvNetD");
    TestQueue answers(reply);
    ASSERT_TRUE(sendTo(net, request("PZ", {}, reply, net)));
    EXPECT_EQ(answers.receive(), statusReply(1));
    ASSERT_TRUE(sendTo(net, request("BL", {9}, reply, net)));
    EXPECT_EQ(answers.receive(), statusReply(1));
    ASSERT_TRUE(sendTo(net, request("BL", {9}, reply, "/to_other")));
    EXPECT_EQ(answers.receive(), statusReply(2));
    ASSERT_TRUE(sendTo(net, zvcam::encodeMessage({2, {{65, {'P', 'D'}}, {68, Bytes(reply, reply + 10)}, {238, {}}}})));
    EXPECT_EQ(answers.receive(), statusReply(2));
}

TEST(ZvNetD, LogsAndSkipsWhatIsNoRequest) {
    SyslogCapture log;
    DaemonProcess daemon("zvNetD");
    TestQueue answers(reply);
    const Bytes large = request("PZ", Bytes(1456), reply, net);
    ASSERT_EQ(large.size(), 1501U);
    ASSERT_TRUE(sendTo(net, large));
    Bytes cut = enter;
    cut.resize(20);
    ASSERT_TRUE(sendTo(net, cut));
    ASSERT_TRUE(sendTo(net, {}));
    Bytes answer = enter;
    answer[3] = 3;
    ASSERT_TRUE(sendTo(net, answer));
    EXPECT_EQ(daemon.waitForCount("skipped", 4), 4U);
    EXPECT_THAT(log.texts(),
                testing::IsSupersetOf({"/to_zvnet: oversized message of 1501 bytes skipped",
                                       "/to_zvnet: malformed message: element cut short skipped",
                                       "/to_zvnet: malformed message: shorter than a message header skipped",
                                       "/to_zvnet: message of category 3 is no request skipped"}));
    EXPECT_EQ(answers.receive(milliseconds(20)), std::nullopt);
    ASSERT_TRUE(sendTo(net, request("PZ", Bytes(1455), reply, net))); // 1500 bytes are none too many
    EXPECT_EQ(answers.receive(), statusReply(1));
}

TEST(ZvNetD, AReplyQueueThatDoesNotTakeItsReplyIsLoggedAndSkipped) {
    SyslogCapture log;
    DaemonProcess daemon("zvNetD");
    ASSERT_TRUE(sendTo(net, request("PZ", {}, "/to_absent", net)));
    ASSERT_TRUE(sendTo(net, request("PZ", {}, "no slash", net)));
    ASSERT_TRUE(sendTo(net, request("PZ", {}, "/a/b", net)));
    ASSERT_TRUE(sendTo(net, request("PZ", {}, "/" + std::string(300, 'n'), net)));
    TestQueue full("/to_full", 1, 1500);
    ASSERT_TRUE(sendTo("/to_full", {1}));
    ASSERT_TRUE(sendTo(net, request("PZ", {}, "/to_full", net)));
    TestQueue small("/to_small", 1, 4);
    ASSERT_TRUE(sendTo(net, request("PZ", {}, "/to_small", net)));
    ASSERT_TRUE(sendTo(net, request("PZ", {}, net, net))); // its own queue: a reply is no request
    EXPECT_EQ(daemon.waitForCount("unanswered", 6), 6U);
    EXPECT_EQ(daemon.waitForCount("skipped", 1), 1U);
    EXPECT_THAT(log.texts(), testing::IsSupersetOf({"/to_zvnet: no answer to /to_absent: no such queue",
                                                    "/to_zvnet: request without a usable reply queue, no answer",
                                                    "/to_zvnet: no answer to /to_full: queue full",
                                                    "/to_zvnet: no answer to /to_small: refused by the queue"}));
    TestQueue answers(reply);
    ASSERT_TRUE(sendTo(net, request("PZ", {}, reply, net)));
    EXPECT_EQ(answers.receive(), statusReply(1));
}

TEST(ZvNetD, StandsThousandsOfMalformedMessages) {
    DaemonProcess daemon("zvNetD");
    TestQueue answers(reply);
    TestQueue ble("/to_ble", 10, 2048);
    std::mt19937 random(20);
    const Bytes good = request("BL", {4, 0, 15}, "/to_ZVCC99", "/to_ble");
    for (int i = 0; i < 3000; ++i) {
        Bytes bytes = i % 3 == 0 ? Bytes(random() % 2049) : good;
        for (int changes = 1 + static_cast<int>(random() % 6); changes > 0 && !bytes.empty(); --changes) {
            bytes[random() % bytes.size()] = static_cast<std::uint8_t>(random());
        }
        if (i % 5 == 0) {
            bytes.resize(random() % (bytes.size() + 1));
        }
        ASSERT_TRUE(sendTo(net, bytes));
        while (ble.receive(milliseconds(0))) {
        }
    }
    EXPECT_EQ(daemon.waitForCount("received", 3000), 3000U);
    ASSERT_TRUE(sendTo(net, request("PZ", {}, reply, net)));
    EXPECT_EQ(answers.receive(), statusReply(1));
}

TEST(ZvNetD, FaultsSpoilThePairingPhasesReplies) {
    DaemonProcess control("zvControlD");
    DaemonProcess daemon("zvNetD", R"({"faults":[{"command":"PD","fault":"refused","status":9,"count":1},
        {"command":"PX","fault":"late","ms":300,"count":1},{"command":"scan","fault":"missing"}]})");
    EXPECT_EQ(daemon.call("fault_list").size(), 2U);
    TestQueue answers(reply);
    ASSERT_TRUE(sendTo(net, enter));
    EXPECT_EQ(answers.receive(), statusReply(9));
    EXPECT_EQ(pairingState(control), 0); // refused: not carried out
    ASSERT_TRUE(sendTo(net, leave));
    EXPECT_EQ(answers.receive(milliseconds(150)), std::nullopt);
    EXPECT_EQ(answers.receive(), statusReply(0));
    daemon.call("fault_add", {{"command", "PD"}, {"fault", "missing"}, {"count", 1}});
    ASSERT_TRUE(sendTo(net, enter));
    EXPECT_EQ(answers.receive(milliseconds(150)), std::nullopt);
    EXPECT_EQ(pairingState(control), 1); // missing: carried out
}

TEST(ZvNetD, TracesWhatComesAndGoes) {
    DaemonProcess daemon("zvNetD");
    TestQueue ble("/to_ble", 10, 2048);
    zvcam::AdminClient follower("/run/zarvo/zvNetD.admin");
    EXPECT_EQ(follower.call("trace_follow"), zvcam::Json::array());
    const Bytes message = request("BL", {9}, reply, "/to_ble");
    ASSERT_TRUE(sendTo(net, message));
    const zvcam::Json in = follower.nextEvent(milliseconds(5000));
    EXPECT_EQ(in.at("direction"), "in");
    EXPECT_EQ(in.at("queue"), net);
    EXPECT_EQ(in.at("hex"), zvcam::toHex(message));
    const zvcam::Json out = follower.nextEvent(milliseconds(5000));
    EXPECT_EQ(out.at("direction"), "out");
    EXPECT_EQ(out.at("queue"), "/to_ble");
    EXPECT_EQ(out.at("note"), "sent");
    EXPECT_EQ(daemon.call("trace").size(), 2U);
}

TEST(ZvNetD, EndsOnSignalsAndRemovesItsQueueAndSocket) {
    for (const int number : {SIGTERM, SIGINT}) {
        DaemonProcess daemon("zvNetD");
        EXPECT_TRUE(queueExists(net));
        EXPECT_EQ(daemon.end(number), 0);
        EXPECT_FALSE(queueExists(net));
        EXPECT_NE(access("/run/zarvo/zvNetD.admin", F_OK), 0);
    }
}

TEST(ZvNetD, StartsAgainAfterItWasKilled) {
    DaemonProcess("zvNetD").end(SIGKILL);
    EXPECT_TRUE(queueExists(net));
    DaemonProcess daemon("zvNetD");
    TestQueue answers(reply);
    ASSERT_TRUE(sendTo(net, request("PZ", {}, reply, net)));
    EXPECT_EQ(answers.receive(), statusReply(1));
}

TEST(ZvNetD, WrongOptionsAndScenariosAreClearErrors) {
    EXPECT_EQ(runToEnd("zvNetD", {"--nonsense"}).status, 2);
    Ended ended = runToEnd("zvNetD", {"--scenario", "/none"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.error, "zvNetD: /none: cannot be opened\n");
    ended = runToEnd("zvNetD", {"--run-dir", "/nowhere"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.error, HasSubstr("/nowhere/zvNetD.admin"));
    EXPECT_FALSE(queueExists(net));
}

} // namespace
