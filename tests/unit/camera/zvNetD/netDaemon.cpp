#include "daemonProcess.h"
#include "hexText.h"
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
    EXPECT_EQ(statusReply(0), answers.receive());
    EXPECT_EQ(1, pairingState(control));
    ASSERT_TRUE(sendTo(net, leave));
    EXPECT_EQ(statusReply(0), answers.receive());
    EXPECT_EQ(0, pairingState(control));
}

TEST(ZvNetD, WithoutZvControlDThePairingPhaseIsUnreachable) {
    DaemonProcess daemon("zvNetD");
    TestQueue answers(reply);
    ASSERT_TRUE(sendTo(net, enter));
    EXPECT_EQ(statusReply(6), answers.receive());
}

TEST(ZvNetD, ASilentZvControlDHoldsNobodyElse) {
    DaemonProcess daemon("zvNetD");
    const zv::UniqueFd silent = zvcamera::listenUnix("/run/zarvo/zvControlD.sock", SOCK_SEQPACKET);
    TestQueue answers(reply);
    TestQueue others("/to_ZVCC13");
    ASSERT_TRUE(sendTo(net, enter));
    ASSERT_TRUE(sendTo(net, request("??", {}, "/to_ZVCC13", net)));
    EXPECT_EQ(statusReply(1), others.receive(milliseconds(2000)));
    EXPECT_EQ(statusReply(6), answers.receive(milliseconds(8000))); // after its five seconds
}

TEST(ZvNetD, MoreThanSixtyFourWaitingForZvControlDAreRefusedAtOnce) {
    DaemonProcess daemon("zvNetD");
    const zv::UniqueFd silent = zvcamera::listenUnix("/run/zarvo/zvControlD.sock", SOCK_SEQPACKET);
    TestQueue waiting(reply, 10, 1500);
    TestQueue refused("/to_ZVCC13", 10, 1500);
    for (int i = 0; i < 64; ++i) {
        ASSERT_TRUE(sendTo(net, i % 2 == 0 ? enter : leave));
    }
    ASSERT_TRUE(sendTo(net, request("PD", {1, 3}, refused.name(), net)));
    ASSERT_TRUE(sendTo(net, request("PX", {}, refused.name(), net)));
    EXPECT_EQ(statusReply(6), refused.receive(milliseconds(2000)));
    EXPECT_EQ(statusReply(6), refused.receive(milliseconds(2000)));
    EXPECT_EQ(std::nullopt, waiting.receive(milliseconds(0))); // the others still wait
    EXPECT_EQ(statusReply(6), waiting.receive(milliseconds(8000)));
}

TEST(ZvNetD, PassesRequestsForTheBleDaemonOnUnchanged) {
    DaemonProcess daemon("zvNetD");
    TestQueue ble("/to_ble", 10, 2048);
    const Bytes message = request("BL", {9}, reply, "/to_ble");
    ASSERT_TRUE(sendTo(net, message));
    EXPECT_EQ(message, ble.receive());
}

TEST(ZvNetD, RefusesAtOnceWhenTheBleDaemonIsAbsent) {
    DaemonProcess daemon("zvNetD");
    TestQueue answers(reply);
    ASSERT_TRUE(sendTo(net, request("BL", {9}, reply, "/to_ble")));
    EXPECT_EQ(statusReply(6), answers.receive());
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
        EXPECT_EQ(statusReply(6), answers.receive());
    }
    EXPECT_EQ(64, daemon.call("backlog"));
    for (std::uint8_t i = 0; i < room; ++i) {
        EXPECT_EQ(request("BL", {9, i}, reply, "/to_ble"), ble.receive());
    }
    EXPECT_EQ(std::nullopt, answers.receive(milliseconds(50)));
}

TEST(ZvNetD, UnknownTagsAndDestinationsAreRefused) {
    DaemonProcess daemon("zvNetD");
    TestQueue answers(reply);
    ASSERT_TRUE(sendTo(net, request("PZ", {}, reply, net)));
    EXPECT_EQ(statusReply(1), answers.receive());
    ASSERT_TRUE(sendTo(net, request("BL", {9}, reply, net)));
    EXPECT_EQ(statusReply(1), answers.receive());
    ASSERT_TRUE(sendTo(net, request("BL", {9}, reply, "/to_other")));
    EXPECT_EQ(statusReply(2), answers.receive());
    ASSERT_TRUE(
        sendTo(net, zvcamera::encodeMessage({2, {{65, {'P', 'D'}}, {68, Bytes(reply, reply + 10)}, {238, {}}}})));
    EXPECT_EQ(statusReply(2), answers.receive());
}

TEST(ZvNetD, LogsAndSkipsWhatIsNoRequest) {
    SyslogCapture log;
    DaemonProcess daemon("zvNetD");
    TestQueue answers(reply);
    const Bytes large = request("PZ", Bytes(1456), reply, net);
    ASSERT_EQ(1501U, large.size());
    ASSERT_TRUE(sendTo(net, large));
    Bytes cut = enter;
    cut.resize(20);
    ASSERT_TRUE(sendTo(net, cut));
    ASSERT_TRUE(sendTo(net, {}));
    Bytes answer = enter;
    answer[3] = 3;
    ASSERT_TRUE(sendTo(net, answer));
    EXPECT_EQ(4U, daemon.waitForCount("skipped", 4));
    EXPECT_THAT(log.texts(),
                testing::IsSupersetOf({"/to_zvnet: oversized message of 1501 bytes skipped",
                                       "/to_zvnet: malformed message: element cut short skipped",
                                       "/to_zvnet: malformed message: shorter than a message header skipped",
                                       "/to_zvnet: message of category 3 is no request skipped"}));
    EXPECT_EQ(std::nullopt, answers.receive(milliseconds(20)));
    ASSERT_TRUE(sendTo(net, request("PZ", Bytes(1455), reply, net))); // 1500 bytes are none too many
    EXPECT_EQ(statusReply(1), answers.receive());
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
    EXPECT_EQ(6U, daemon.waitForCount("unanswered", 6));
    EXPECT_EQ(1U, daemon.waitForCount("skipped", 1));
    EXPECT_THAT(log.texts(), testing::IsSupersetOf({"/to_zvnet: no answer to /to_absent: no such queue",
                                                    "/to_zvnet: request without a usable reply queue, no answer",
                                                    "/to_zvnet: no answer to /to_full: queue full",
                                                    "/to_zvnet: no answer to /to_small: refused by the queue"}));
    TestQueue answers(reply);
    ASSERT_TRUE(sendTo(net, request("PZ", {}, reply, net)));
    EXPECT_EQ(statusReply(1), answers.receive());
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
    EXPECT_EQ(3000U, daemon.waitForCount("received", 3000));
    ASSERT_TRUE(sendTo(net, request("PZ", {}, reply, net)));
    EXPECT_EQ(statusReply(1), answers.receive());
}

TEST(ZvNetD, FaultsSpoilThePairingPhasesReplies) {
    DaemonProcess control("zvControlD");
    DaemonProcess daemon("zvNetD", R"({"faults":[{"command":"PD","fault":"refused","status":9,"count":1},
        {"command":"PX","fault":"late","ms":300,"count":1},{"command":"scan","fault":"missing"}]})");
    EXPECT_EQ(2U, daemon.call("fault_list").size());
    TestQueue answers(reply);
    ASSERT_TRUE(sendTo(net, enter));
    EXPECT_EQ(statusReply(9), answers.receive());
    EXPECT_EQ(0, pairingState(control)); // refused: not carried out
    ASSERT_TRUE(sendTo(net, leave));
    EXPECT_EQ(std::nullopt, answers.receive(milliseconds(150)));
    EXPECT_EQ(statusReply(0), answers.receive());
    daemon.call("fault_add", {{"command", "PD"}, {"fault", "missing"}, {"count", 1}});
    ASSERT_TRUE(sendTo(net, enter));
    EXPECT_EQ(std::nullopt, answers.receive(milliseconds(150)));
    EXPECT_EQ(1, pairingState(control)); // missing: carried out
}

TEST(ZvNetD, TracesWhatComesAndGoes) {
    DaemonProcess daemon("zvNetD");
    TestQueue ble("/to_ble", 10, 2048);
    zvtest::AdminClient follower("/run/zarvo/zvNetD.admin");
    EXPECT_EQ(zvcamera::Json::array(), follower.call("trace_follow"));
    const Bytes message = request("BL", {9}, reply, "/to_ble");
    ASSERT_TRUE(sendTo(net, message));
    const zvcamera::Json in = follower.nextEvent(milliseconds(5000));
    EXPECT_EQ("in", in.at("direction"));
    EXPECT_EQ(net, in.at("queue"));
    EXPECT_EQ(zvcamera::toHex(message), in.at("hex").get<std::string>());
    const zvcamera::Json out = follower.nextEvent(milliseconds(5000));
    EXPECT_EQ("out", out.at("direction"));
    EXPECT_EQ("/to_ble", out.at("queue"));
    EXPECT_EQ("sent", out.at("note"));
    EXPECT_EQ(2U, daemon.call("trace").size());
}

TEST(ZvNetD, EndsOnSignalsAndRemovesItsQueueAndSocket) {
    for (const int number : {SIGTERM, SIGINT}) {
        DaemonProcess daemon("zvNetD");
        EXPECT_TRUE(queueExists(net));
        EXPECT_EQ(0, daemon.end(number));
        EXPECT_FALSE(queueExists(net));
        EXPECT_NE(0, access("/run/zarvo/zvNetD.admin", F_OK));
    }
}

TEST(ZvNetD, StartsAgainAfterItWasKilled) {
    DaemonProcess("zvNetD").end(SIGKILL);
    EXPECT_TRUE(queueExists(net));
    DaemonProcess daemon("zvNetD");
    TestQueue answers(reply);
    ASSERT_TRUE(sendTo(net, request("PZ", {}, reply, net)));
    EXPECT_EQ(statusReply(1), answers.receive());
}

TEST(ZvNetD, WrongOptionsAndScenariosAreClearErrors) {
    EXPECT_EQ(2, runToEnd("zvNetD", {"--nonsense"}).status);
    Ended ended = runToEnd("zvNetD", {"--scenario", "/none"});
    EXPECT_EQ(1, ended.status);
    EXPECT_EQ("zvNetD: /none: cannot be opened\n", ended.error);
    ended = runToEnd("zvNetD", {"--run-dir", "/nowhere"});
    EXPECT_EQ(1, ended.status);
    EXPECT_THAT(ended.error, HasSubstr("/nowhere/zvNetD.admin"));
    EXPECT_FALSE(queueExists(net));
}

} // namespace
