#include "radio.h"

#include <gtest/gtest.h>

namespace zvcamera {
namespace {

Device device(const char* address, Millis foundAfter = 500) {
    Device made;
    made.address = parseAddress(address);
    made.name = std::string("N") + address[11];
    made.foundAfter = foundAfter;
    return made;
}

std::string found(const Radio& radio) {
    std::string names;
    for (const Scan::Found& one : radio.scan().found) {
        names += one.entry.name;
    }
    return names;
}

constexpr auto paired = PairingStatus::Paired;
constexpr auto failed = PairingStatus::Failed;
constexpr auto timedOut = PairingStatus::TimedOut;
constexpr auto running = PairingStatus::Pairing;
constexpr auto cancelled = PairingStatus::Cancelled;

TEST(Scan, ResultsArriveOverTimeInTheOrderInWhichTheyAreHeard) {
    Radio radio;
    radio.setDevice(device("000000000001", 900));
    radio.setDevice(device("000000000002", 300));
    radio.setDevice(device("000000000003", 600));
    radio.advance(5000);
    EXPECT_EQ("", found(radio));
    radio.startScan(1, 10000);
    EXPECT_EQ(1, radio.scan().listId);
    radio.advance(10299);
    EXPECT_EQ("", found(radio));
    radio.advance(10300);
    EXPECT_EQ("N2", found(radio));
    radio.advance(11000);
    EXPECT_EQ("N2N3N1", found(radio));
    EXPECT_EQ(1, radio.scan().listId);
}

TEST(Scan, StoppingKeepsTheListAndStartingMakesANewOne) {
    Radio radio;
    radio.setDevice(device("000000000001", 100));
    radio.setDevice(device("000000000002", 700));
    radio.startScan(3, 0);
    EXPECT_EQ(3, radio.scan().mode);
    radio.stopScan(200);
    radio.advance(5000);
    EXPECT_FALSE(radio.scan().running);
    EXPECT_EQ("N1", found(radio));
    radio.startScan(1, 6000);
    EXPECT_EQ("", found(radio));
    EXPECT_EQ(2, radio.scan().listId);
}

TEST(Scan, EndsByItselfAfterItsTime) {
    Radio radio;
    radio.settings.scanTime = 1000;
    radio.setDevice(device("000000000001", 900));
    radio.setDevice(device("000000000002", 1100));
    radio.startScan(1, 0);
    radio.advance(9000);
    EXPECT_FALSE(radio.scan().running);
    EXPECT_EQ("N1", found(radio));
}

TEST(Scan, ADeviceThatIsLostLeavesAListWithANewId) {
    Radio radio;
    radio.settings.lostTime = 2000;
    Device leaving = device("000000000001");
    leaving.to = 3000;
    radio.setDevice(leaving);
    radio.setDevice(device("000000000002"));
    radio.startScan(1, 0);
    for (Millis now = 0; now <= 4900; now += 100) {
        radio.advance(now);
    }
    EXPECT_EQ("N1N2", found(radio));
    EXPECT_EQ(1, radio.scan().listId);
    radio.advance(5000);
    EXPECT_EQ("N2", found(radio));
    EXPECT_EQ(2, radio.scan().listId);
}

TEST(Scan, TheListIdIsOneByte) {
    Radio radio;
    radio.rebuildScan(255);
    EXPECT_EQ(255, radio.scan().listId);
    radio.rebuildScan();
    EXPECT_EQ(0, radio.scan().listId);
}

TEST(Device, ThatIsSetPresentIsHeardAWhileAfterThatWhateverItsTimes) {
    Radio radio;
    Device one = device("000000000001", 2000);
    one.from = 60000;
    radio.setDevice(one);
    radio.startScan(1, 0);
    one.presence = Presence::Present;
    radio.setDevice(one, 10000);
    radio.advance(11999);
    EXPECT_EQ("", found(radio));
    radio.advance(12000);
    EXPECT_EQ("N1", found(radio));
}

TEST(Device, ThatIsSetPresentStaysInRangeWhenItWas) {
    Radio radio;
    Device one = device("000000000001", 2000);
    one.from = 500;
    radio.setDevice(one);
    radio.startScan(1, 0);
    one.presence = Presence::Present;
    radio.setDevice(one, 1500);
    radio.advance(2500); // two seconds after it came
    EXPECT_EQ("N1", found(radio));
}

TEST(Device, ThatIsScheduledAgainIsHeardAWhileAfterThat) {
    Radio radio;
    Device one = device("000000000001", 2000);
    one.presence = Presence::Away;
    radio.setDevice(one);
    radio.startScan(1, 0);
    one.presence = Presence::Scheduled; // from 0 on
    radio.setDevice(one, 10000);
    EXPECT_EQ(10000, radio.devices()[0].inRangeSince(10000));
    one.from = 11000;
    radio.setDevice(one, 10500);
    EXPECT_EQ(11000, radio.devices()[0].inRangeSince(11000));
    radio.advance(12999);
    EXPECT_EQ("", found(radio));
    radio.advance(13000);
    EXPECT_EQ("N1", found(radio));
}

TEST(Rssi, VariesWithinItsBoundsOnceASecondTheSameForTheSameSeed) {
    Radio radio;
    Radio other;
    other.settings.seed = 2;
    Device one = device("000000000001");
    one.rssi = -60;
    one.rssiVariation = 5;
    bool changes = false;
    bool differs = false;
    for (Millis now = 0; now < 100000; now += 1000) {
        const int value = radio.rssi(one, now);
        EXPECT_GE(value, -65);
        EXPECT_LE(value, -55);
        EXPECT_EQ(value, radio.rssi(one, now + 999));
        changes = changes || value != radio.rssi(one, now + 1000);
        differs = differs || value != other.rssi(one, now);
    }
    EXPECT_TRUE(changes);
    EXPECT_TRUE(differs);
    one.rssi = -127;
    one.rssiVariation = 100;
    for (Millis now = 0; now < 100000; now += 1000) {
        EXPECT_GE(radio.rssi(one, now), -127);
    }
}

TEST(Pairing, TakesItsTimeAndPutsTheDeviceIntoTheWhitelist) {
    Radio radio;
    Device one = device("a1b2c3d4e5f6");
    one.addressType = 1;
    one.mitm = true;
    radio.setDevice(one);
    EXPECT_EQ(PairingStatus::Idle, radio.pairing().status);
    EXPECT_EQ(Status::Ok, radio.startPairing(one.address, 1, 1000));
    radio.advance(2999);
    EXPECT_EQ(running, radio.pairing().status);
    EXPECT_EQ(0U, radio.whitelist.slots().size());
    const std::uint8_t before = radio.whitelist.listId();
    radio.advance(3000);
    EXPECT_EQ(paired, radio.pairing().status);
    ASSERT_EQ(1U, radio.whitelist.slots().size());
    EXPECT_EQ(0x005a, radio.whitelist.slots()[0].flags()); // in use, connected, mitm, auto connect
    EXPECT_EQ("N6", radio.whitelist.slots()[0].name);
    EXPECT_EQ(before + 1, radio.whitelist.listId());
}

TEST(Pairing, ASecondOneIsRefusedWhileOneIsUnderWay) {
    Radio radio;
    radio.setDevice(device("000000000001"));
    EXPECT_EQ(Status::Ok, radio.startPairing(parseAddress("000000000001"), 0, 0));
    EXPECT_EQ(Status::Busy, radio.startPairing(parseAddress("000000000002"), 0, 10));
    radio.advance(2000);
    EXPECT_EQ(Status::Ok, radio.startPairing(parseAddress("000000000002"), 0, 2000));
}

TEST(Pairing, FailsWithADeviceThatRefuses) {
    Radio radio;
    Device one = device("000000000001");
    one.pairing = PairingOutcome::Failure;
    one.pairingTime = 300;
    radio.setDevice(one);
    radio.startPairing(one.address, 0, 0);
    radio.advance(300);
    EXPECT_EQ(failed, radio.pairing().status);
    EXPECT_TRUE(radio.whitelist.slots().empty());
}

TEST(Pairing, TimesOutWithoutAnAnswer) {
    Device silent = device("000000000001");
    silent.pairing = PairingOutcome::Silent;
    Device away = device("000000000002");
    away.presence = Presence::Away;
    for (const char* address : {"000000000001", "000000000002", "0000000000ff"}) {
        Radio radio;
        radio.setDevice(silent);
        radio.setDevice(away);
        radio.startPairing(parseAddress(address), 0, 0);
        radio.advance(14999);
        EXPECT_EQ(running, radio.pairing().status) << address;
        radio.advance(15000);
        EXPECT_EQ(timedOut, radio.pairing().status) << address;
    }
}

TEST(Pairing, ADeviceOfAnotherAddressTypeIsAnotherDevice) {
    Radio radio;
    radio.setDevice(device("000000000001"));
    radio.startPairing(parseAddress("000000000001"), 1, 0);
    radio.advance(15000);
    EXPECT_EQ(timedOut, radio.pairing().status);
}

TEST(Pairing, IsCancelledByItsAddressAndType) {
    Radio radio;
    radio.setDevice(device("000000000001"));
    const Address address = parseAddress("000000000001");
    EXPECT_EQ(Status::NotFound, radio.cancelPairing(address, 0, 0));
    radio.startPairing(address, 0, 0);
    EXPECT_EQ(Status::NotFound, radio.cancelPairing(parseAddress("000000000002"), 0, 10));
    EXPECT_EQ(Status::NotFound, radio.cancelPairing(address, 1, 10));
    EXPECT_EQ(Status::Ok, radio.cancelPairing(address, 0, 10));
    EXPECT_EQ(cancelled, radio.pairing().status);
    radio.advance(20000);
    EXPECT_EQ(cancelled, radio.pairing().status);
    EXPECT_TRUE(radio.whitelist.slots().empty());
    radio.startPairing(address, 0, 30000);
    EXPECT_EQ(Status::NotFound, radio.cancelPairing(address, 0, 32000)); // it was done before
    EXPECT_EQ(paired, radio.pairing().status);
}

TEST(Pairing, NeedsRoomInTheWhitelist) {
    Radio radio;
    radio.settings.whitelistSlots = 1;
    radio.setDevice(device("000000000001"));
    radio.setDevice(device("000000000002"));
    radio.startPairing(parseAddress("000000000001"), 0, 0);
    radio.advance(2000);
    EXPECT_EQ(Status::NoRoom, radio.startPairing(parseAddress("000000000002"), 0, 3000));
    EXPECT_EQ(paired, radio.pairing().status);
    EXPECT_EQ(Status::Ok, radio.startPairing(parseAddress("000000000001"), 0, 3000)); // once more
    radio.advance(5000);
    EXPECT_EQ(1U, radio.whitelist.slots().size());
}

class Connections : public testing::Test {
protected:
    Connections() {
        Device one = device("000000000001");
        one.from = 1000;
        one.to = 5000;
        radio_.setDevice(one);
        Slot slot;
        slot.address = one.address;
        slot.autoConnect = true;
        radio_.whitelist.take(slot, 9);
    }
    bool connectedAt(Millis now) {
        for (; time_ < now; time_ += 100) {
            radio_.advance(time_);
        }
        radio_.advance(now);
        return radio_.whitelist.slots()[0].connected;
    }
    Radio radio_;
    Millis time_ = 0;
};

TEST_F(Connections, AKnownDeviceIsConnectedAWhileAfterItComesIntoRange) {
    EXPECT_FALSE(connectedAt(1900));
    EXPECT_TRUE(connectedAt(2000));
    EXPECT_TRUE(connectedAt(4999));
    EXPECT_FALSE(connectedAt(5000));
}

TEST_F(Connections, NotWithoutItsFlag) {
    radio_.whitelist.slots()[0].autoConnect = false;
    EXPECT_FALSE(connectedAt(4000));
}

TEST_F(Connections, NotWhileTheRadiosSettingIsOff) {
    radio_.autoConnect = 0;
    EXPECT_FALSE(connectedAt(3000));
    radio_.autoConnect = 255;
    EXPECT_TRUE(connectedAt(4100));
}

TEST_F(Connections, ComeBackAfterTheToolHasCutThem) {
    EXPECT_TRUE(connectedAt(2000));
    radio_.whitelist.slots()[0].connected = false;
    EXPECT_FALSE(connectedAt(2900));
    EXPECT_TRUE(connectedAt(3100));
}

TEST(Radio, HoldsNoMoreDevicesThanAListCan) {
    Radio radio;
    for (std::uint8_t i = 0; i < 255; ++i) {
        Device one;
        one.address = {i};
        radio.setDevice(one);
    }
    Device more;
    more.address = {0, 1};
    EXPECT_THROW(radio.setDevice(more), Refusal);
    more.address = {7};
    more.name = "changed";
    radio.setDevice(more);
    EXPECT_EQ("changed", radio.findDevice(more.address)->name);
    EXPECT_TRUE(radio.removeDevice(more.address));
    EXPECT_FALSE(radio.removeDevice(more.address));
}

} // namespace
} // namespace zvcamera
