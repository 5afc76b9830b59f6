#include "bleTest.h"
#include "command_ble.h"
#include "csi.h"

#include <chrono>
#include <cstdint>
#include <fcntl.h>
#include <limits>
#include <map>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// The items as the camera's library numbers them, whatever the header says.
constexpr int recordingItem = 3;
constexpr int pairingStateItem = 54;

// The camera state library of this test program.
std::map<int, std::int32_t> items;
std::vector<int> itemsRead;

class PairingAvailable : public testing::Test {
protected:
    PairingAvailable() {
        g_logLevel = UTIL_LOG_INFO;
        items = {{recordingItem, 0}, {pairingStateItem, 0}};
        itemsRead.clear();
    }

    SyslogCapture log_;
};

class PairingPhase : public BleTest {};

// The request as it stands on the queue.
Bytes phaseRequest(const Bytes& tagAndData, const std::string& name = QueuePeer::replyQueueName()) {
    const auto n = static_cast<std::uint8_t>(name.size());
    const Bytes behind = join(
        {{0, 0, n, 68}, bytesOf(name), {0, 0, 9, 67, '/', 't', 'o', '_', 'z', 'v', 'n', 'e', 't'}, {0, 0, 0, 238}});
    const auto total = static_cast<std::uint8_t>(4 + tagAndData.size() + behind.size());
    return join({{0, total, 0, 2}, tagAndData, behind});
}

const Bytes enter = {0, 0, 2, 65, 'P', 'D', 0, 0, 2, 66, 0x01, 0x03};
const Bytes leave = {0, 0, 2, 65, 'P', 'X', 0, 0, 0, 66};

} // namespace

extern "C" int csi_get(int item, int size, int* returned, void* value) {
    itemsRead.push_back(item);
    EXPECT_EQ(4, size);
    EXPECT_NE(nullptr, returned);
    EXPECT_EQ(0, *static_cast<std::int32_t*>(value));
    const auto found = items.find(item);
    if (found == items.end()) {
        return -1;
    }
    *static_cast<std::int32_t*>(value) = found->second;
    return 0;
}

TEST_F(PairingAvailable, WhileIdle) {
    char response[] = "x";
    EXPECT_EQ(0, ble_pairing_available("any=1", response, 2));
    EXPECT_STREQ("x", response);
    EXPECT_EQ(0, ble_pairing_available(nullptr, nullptr, 0));
    EXPECT_THAT(linesOf(log_), IsEmpty());
}

TEST_F(PairingAvailable, NotWhileRecording) {
    for (const int recording : {1, 2, -1, std::numeric_limits<int>::min()}) {
        items[recordingItem] = recording;
        itemsRead.clear();
        EXPECT_EQ(-1, ble_pairing_available(nullptr, nullptr, 0));
        EXPECT_THAT(linesOf(log_), ElementsAre(debugLine("Can't enter pairing phase because recording")));
        EXPECT_THAT(itemsRead, ElementsAre(recordingItem));
    }
}

TEST_F(PairingAvailable, NotWhilePairingIsUnderWay) {
    items[pairingStateItem] = 1;
    EXPECT_EQ(-1, ble_pairing_available(nullptr, nullptr, 0));
    EXPECT_THAT(linesOf(log_),
                ElementsAre(debugLine("Can't enter pairing phase because apPairingState(1)==OP_STARTED")));
    EXPECT_THAT(itemsRead, ElementsAre(recordingItem, pairingStateItem));
}

TEST_F(PairingAvailable, InAnyOtherPairingState) {
    for (const int state : {-1, 0, 2, 3, 257, std::numeric_limits<int>::max()}) {
        items[pairingStateItem] = state;
        EXPECT_EQ(0, ble_pairing_available(nullptr, nullptr, 0)) << state;
    }
    EXPECT_THAT(linesOf(log_), IsEmpty());
}

TEST_F(PairingAvailable, NotWhenTheRecordingFlagCannotBeRead) {
    items.erase(recordingItem);
    EXPECT_EQ(-1, ble_pairing_available(nullptr, nullptr, 0));
    EXPECT_THAT(linesOf(log_), ElementsAre("csi_get(CSI_RECORDING) failed"));
    EXPECT_THAT(itemsRead, ElementsAre(recordingItem));
}

TEST_F(PairingAvailable, NotWhenThePairingStateCannotBeRead) {
    items.erase(pairingStateItem);
    EXPECT_EQ(-1, ble_pairing_available(nullptr, nullptr, 0));
    EXPECT_THAT(linesOf(log_), ElementsAre("csi_get(CSI_AP_PAIRING_STATE) failed"));
}

TEST_F(PairingAvailable, RefusalsAreNotErrors) {
    g_logLevel = UTIL_LOG_WARN;
    items[recordingItem] = 1;
    EXPECT_EQ(-1, ble_pairing_available(nullptr, nullptr, 0));
    EXPECT_THAT(linesOf(log_), IsEmpty());
}

TEST_F(PairingPhase, AnyNumberButZeroEnters) {
    for (const char* query : {"p=1", "p=7", "p=-1", "p=5x", "p= 2", "q=0&p=256"}) {
        peer_.reply(replyOf(0));
        EXPECT_EQ(0, call(ble_pairing_phase, query)) << query;
        EXPECT_EQ(phaseRequest(enter), peer_.requests().back()) << query;
        EXPECT_EQ("untouched", response());
    }
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(PairingPhase, ZeroLeaves) {
    for (const char* query : {"p=0", "p=-0", "p=0x1"}) {
        peer_.reply(replyOf(0));
        EXPECT_EQ(0, call(ble_pairing_phase, query)) << query;
        EXPECT_EQ(phaseRequest(leave), peer_.requests().back()) << query;
    }
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(PairingPhase, DataOfAnEarlierRequestDoNotStayBehind) {
    peer_.replyWith([](const Bytes&) { return std::vector<Bytes>{replyOf(0)}; });
    EXPECT_EQ(0, call(ble_pairing_phase, "p=1"));
    EXPECT_EQ(0, call(ble_scan, "p=1"));
    EXPECT_EQ(0, call(ble_pairing_phase, "p=0"));
    EXPECT_THAT(peer_.requests(), ElementsAre(phaseRequest(enter), bleRequest({1, 1}), phaseRequest(leave)));
}

TEST_F(PairingPhase, MissingParameter) {
    EXPECT_EQ(-3, call(ble_pairing_phase, "phase=1&xp=2"));
    EXPECT_THAT(logged(), ElementsAre("Failed to parse parameters in phase=1&xp=2"));
    EXPECT_EQ(-3, call(ble_pairing_phase, ""));
    EXPECT_EQ(-3, call(ble_pairing_phase, nullptr));
    EXPECT_THAT(logged(), ElementsAre("Failed to parse parameters in ", "Failed to parse parameters in (null)"));
    EXPECT_THAT(peer_.requests(), IsEmpty());
}

TEST_F(PairingPhase, NotANumber) {
    EXPECT_EQ(-3, call(ble_pairing_phase, "p=x"));
    EXPECT_EQ(-3, call(ble_pairing_phase, "p="));
    EXPECT_EQ(-3, call(ble_pairing_phase, "p=2147483648"));
    EXPECT_THAT(logged(), ElementsAre("Error parsing parameter for pairing_phase command [x]",
                                      "Error parsing parameter for pairing_phase command []",
                                      "Error parsing parameter for pairing_phase command [2147483648]"));
    EXPECT_THAT(peer_.requests(), IsEmpty());
}

TEST_F(PairingPhase, Refused) {
    peer_.reply(replyOf(1));
    EXPECT_EQ(-1, call(ble_pairing_phase, "p=7"));
    EXPECT_THAT(linesOf(log_), ElementsAre("ble_pairing_phase p=7 command failed"));
}

TEST_F(PairingPhase, BadReplies) {
    peer_.reply({});
    EXPECT_EQ(-1, call(ble_pairing_phase, "p=1"));
    EXPECT_THAT(logged(), ElementsAre(noReply, "ble_pairing_phase p=1 command failed"));
    peer_.reply(message(3, element(66, {0})));
    EXPECT_EQ(-1, call(ble_pairing_phase, "p=0"));
    EXPECT_THAT(logged(), ElementsAre("Expected a typeRSP element from daemon but got none\n",
                                      "ble_pairing_phase p=0 command failed"));
    peer_.reply(message(3, element(69, {})));
    EXPECT_EQ(-1, call(ble_pairing_phase, "p=0"));
    EXPECT_THAT(logged(), ElementsAre("ERROR: typeRSP did not contain enough bytes for int8_t (got 0)\n",
                                      "ble_pairing_phase p=0 command failed"));
}

TEST_F(PairingPhase, FailedSendLeavesTheRequestInTheBuffer) {
    EXPECT_EQ(0, ble_interface_close());
    EXPECT_EQ(-1, call(ble_pairing_phase, "p=1"));
    EXPECT_THAT(logged(), ElementsAre("Failed, IF not open", ownRequest, "ble_pairing_phase p=1 command failed"));
    // A closed link has no reply queue to name.
    const Bytes request = phaseRequest(enter, "");
    EXPECT_EQ(Bytes(ble_msg_buffer, ble_msg_buffer + request.size()), request);
    EXPECT_EQ(0, ble_interface_open());
}

TEST_F(PairingPhase, SilentDaemonEndsTheRequestAfter15Seconds) {
    peer_.stayMute();
    faults::clockOffset = -14; // leaves 1 of the 15 seconds
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(-1, call(ble_pairing_phase, "p=1"));
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_LE(std::chrono::milliseconds(900), waited);
    EXPECT_GE(std::chrono::seconds(10), waited);
    EXPECT_THAT(logged(), ElementsAre("Failed error:Connection timed out, timeout\n", noReply,
                                      "ble_pairing_phase p=1 command failed"));
    EXPECT_EQ(phaseRequest(enter), peer_.requests().back());
    EXPECT_EQ(0, ble_interface_close());
    EXPECT_EQ(-1, mq_open(QueuePeer::replyQueueName().c_str(), O_RDONLY));
    EXPECT_EQ(0, ble_interface_open());
}
