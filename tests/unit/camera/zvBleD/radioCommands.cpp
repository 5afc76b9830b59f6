#include "radioCommands.h"

#include "whitelistFile.h"

#include <gtest/gtest.h>

namespace zvcam {
namespace {

Slot slot(const char* address, bool inUse = true) {
    Slot made;
    made.inUse = inUse;
    made.address = parseAddress(address);
    made.name = "S";
    return made;
}

CommandResult ok(Bytes data = {}) {
    return {Status::Ok, std::move(data)};
}
CommandResult refused(Status status) {
    return {status, {}};
}

class Commands : public testing::Test {
protected:
    CommandResult run(const Bytes& data) { return runCommand(radio, data, now); }
    Radio radio;
    Millis now = 0;
};

TEST_F(Commands, UnknownCodesAndWrongSizesAreRefused) {
    EXPECT_EQ(run({}), refused(Status::UnknownCommand));
    for (const std::uint8_t code : Bytes{0, 5, 11, 255}) {
        EXPECT_EQ(run({code, 0, 0}), refused(Status::UnknownCommand)) << int{code};
    }
    for (const CommandInfo& info : bleCommands) {
        const auto code = static_cast<std::uint8_t>(info.code);
        for (std::size_t size = 1; size < 20; ++size) {
            Bytes data(size);
            data[0] = code;
            if (size != info.dataSize) {
                EXPECT_EQ(run(data), refused(Status::BadParameters)) << info.name << " " << size;
            }
        }
    }
    EXPECT_EQ(radio.pairing().status, PairingStatus::Idle);
    EXPECT_EQ(radio.autoConnect, 1);
}

TEST_F(Commands, ScanStartsWithAModeAndStopsWithZero) {
    EXPECT_EQ(run({1, 2}), ok());
    EXPECT_TRUE(radio.scan().running);
    EXPECT_EQ(radio.scan().mode, 2);
    EXPECT_EQ(run({1, 0}), ok());
    EXPECT_FALSE(radio.scan().running);
}

TEST_F(Commands, ConfigurationIsSetAndRead) {
    EXPECT_EQ(run({10}), ok({1}));
    EXPECT_EQ(run({8, 0, 0}), ok());
    EXPECT_EQ(run({10}), ok({0}));
    EXPECT_EQ(run({8, 0, 255}), ok());
    EXPECT_EQ(run({10}), ok({255}));
}

TEST_F(Commands, PairingRunsThroughItsStatusValues) {
    Device one;
    one.address = parseAddress("a1b2c3d4e5f6");
    one.addressType = 1;
    radio.setDevice(one);
    EXPECT_EQ(run({9}), ok({0}));
    EXPECT_EQ(run({2, 0xf6, 0xe5, 0xd4, 0xc3, 0xb2, 0xa1, 1}), ok());
    EXPECT_EQ(run({9}), ok({1}));
    EXPECT_EQ(run({2, 0xf6, 0xe5, 0xd4, 0xc3, 0xb2, 0xa1, 1}), refused(Status::Busy));
    EXPECT_EQ(run({3, 0xf6, 0xe5, 0xd4, 0xc3, 0xb2, 0xa1, 0}), refused(Status::NotFound));
    EXPECT_EQ(run({3, 0xf6, 0xe5, 0xd4, 0xc3, 0xb2, 0xa1, 1}), ok());
    EXPECT_EQ(run({9}), ok({4}));
    EXPECT_EQ(run({2, 0xf6, 0xe5, 0xd4, 0xc3, 0xb2, 0xa1, 1}), ok());
    now = 2000;
    EXPECT_EQ(run({9}), ok({2}));
}

TEST_F(Commands, AnEmptyListIsOnePageOfNothing) {
    EXPECT_EQ(run({4, 0, 15}), ok({0, 0, 0, 0}));
    EXPECT_EQ(run({6, 0, 255}), ok({1, 0, 0, 0}));
}

TEST_F(Commands, AWhitelistPageHoldsItsEntries) {
    radio.whitelist.assign({slot("060504030201"), slot("0a0b0c0d0e0f", false)});
    Bytes expected{2, 2, 0, 2, 1, 2, 3, 4, 5, 6, 0x40, 0, 10, 1, 'S'};
    expected.resize(4 + 41);
    expected.insert(expected.end(), {0x0f, 0x0e, 0x0d, 0x0c, 0x0b, 0x0a, 0, 0, 10, 1, 'S'});
    expected.resize(4 + 82);
    EXPECT_EQ(run({6, 0, 255}), ok(expected));
    expected.erase(expected.begin() + 4, expected.begin() + 4 + 41);
    expected[2] = 1;
    expected[3] = 1;
    EXPECT_EQ(run({6, 1, 255}), ok(expected));
}

TEST_F(Commands, FiftySlotsComeInPagesOfThirty) {
    radio.settings.whitelistPage = 30;
    radio.whitelist.assign(std::vector<Slot>(50, slot("060504030201")));
    CommandResult page = run({6, 0, 255});
    EXPECT_EQ(Bytes(page.data.begin(), page.data.begin() + 4), (Bytes{2, 50, 0, 30}));
    EXPECT_EQ(page.data.size(), 4U + 30 * 41);
    page = run({6, 30, 20});
    EXPECT_EQ(Bytes(page.data.begin(), page.data.begin() + 4), (Bytes{2, 50, 30, 20}));
    EXPECT_EQ(page.data.size(), 4U + 20 * 41);
}

TEST_F(Commands, APageFitsIntoAMessage) {
    radio.whitelist.assign(std::vector<Slot>(255, slot("060504030201")));
    const CommandResult page = run({6, 0, 255});
    EXPECT_EQ(page.data[1], 255);
    EXPECT_EQ(page.data[3], 36);
    EXPECT_LE(page.data.size() + 13, 1500U);
}

TEST_F(Commands, APageHoldsNoMoreThanAskedFor) {
    radio.whitelist.assign(std::vector<Slot>(5, slot("060504030201")));
    EXPECT_EQ(run({6, 1, 2}).data[3], 2);
    EXPECT_EQ(run({6, 4, 2}).data[3], 1);
    EXPECT_EQ(run({6, 0, 0}), ok({2, 5, 0, 0}));
    EXPECT_EQ(run({6, 5, 9}), ok({2, 5, 5, 0}));
    EXPECT_EQ(run({6, 200, 9}), ok({2, 5, 200, 0}));
}

TEST_F(Commands, AScanPageHoldsItsEntries) {
    for (std::uint8_t i = 1; i <= 20; ++i) {
        Device one;
        one.address = {i};
        one.foundAfter = i;
        one.rssi = -60;
        one.rssiVariation = 0;
        radio.setDevice(one);
    }
    run({1, 1});
    now = 100;
    const CommandResult page = run({4, 0, 15});
    EXPECT_EQ(Bytes(page.data.begin(), page.data.begin() + 12), (Bytes{1, 20, 0, 15, 1, 0, 0, 0, 0, 0, 0, 0xc4}));
    EXPECT_EQ(page.data.size(), 4U + 15 * 82);
    EXPECT_EQ(run({4, 0, 255}).data[3], 18);
    EXPECT_EQ(run({4, 15, 15}).data[3], 5);
}

TEST_F(Commands, RemovingFreesTheSlotInPlace) {
    radio.whitelist.assign({slot("000000000001"), slot("060504030201"), slot("000000000003")});
    EXPECT_EQ(run({7, 0, 0, 1, 2, 3, 4, 5, 6}), ok());
    const CommandResult page = run({6, 0, 255});
    EXPECT_EQ(page.data[0], 3); // rebuilt
    EXPECT_EQ(page.data[1], 3);
    EXPECT_EQ(page.data[4 + 41 + 6] & 0x40, 0);
    EXPECT_EQ(page.data[4 + 41], 1); // what it held is still there
    EXPECT_EQ(run({7, 0, 0, 1, 2, 3, 4, 5, 6}), refused(Status::NotFound));
    EXPECT_EQ(run({7, 4, 1, 1, 2, 3, 4, 5, 6}), refused(Status::NotFound));
    radio.whitelist.take(slot("0000000000ff"), 64);
    EXPECT_EQ(run({6, 0, 255}).data[4 + 41], 0xff); // the free slot is taken first
}

TEST_F(Commands, AutoConnectIsSetByAnyValueButZero) {
    radio.whitelist.assign({slot("060504030201")});
    EXPECT_EQ(run({7, 4, 7, 1, 2, 3, 4, 5, 6}), ok());
    EXPECT_EQ(run({6, 0, 255}).data[4 + 6], 0x50);
    EXPECT_EQ(run({7, 4, 0, 1, 2, 3, 4, 5, 6}), ok());
    EXPECT_EQ(run({6, 0, 255}).data[4 + 6], 0x40);
    EXPECT_EQ(run({6, 0, 255}).data[0], 2); // not rebuilt
    EXPECT_EQ(run({7, 1, 1, 1, 2, 3, 4, 5, 6}), refused(Status::BadParameters));
}

TEST_F(Commands, AStatusSetByHandIsToldUntilTheNextPairingAndIsNoneItself) {
    Device one;
    one.address = parseAddress("060504030201");
    radio.setDevice(one);
    for (const std::uint8_t byte : Bytes{1, 77}) {
        radio.setPairingStatus(byte);
        now += 20000; // long enough for any pairing to end
        EXPECT_EQ(run({9}), ok({byte}));
        EXPECT_EQ(run({3, 0, 0, 0, 0, 0, 0, 0}), refused(Status::NotFound)); // there is nothing to cancel
        EXPECT_EQ(run({2, 1, 2, 3, 4, 5, 6, 0}), ok());
        EXPECT_EQ(run({9}), ok({1}));
        now += 2000;
        EXPECT_EQ(run({9}), ok({2}));
    }
}

TEST_F(Commands, APairingGoesOnBelowAStatusSetByHand) {
    Device one;
    one.address = parseAddress("060504030201");
    radio.setDevice(one);
    EXPECT_EQ(run({2, 1, 2, 3, 4, 5, 6, 0}), ok());
    radio.setPairingStatus(77);
    EXPECT_EQ(run({2, 1, 2, 3, 4, 5, 6, 0}), refused(Status::Busy));
    now = 2000;
    EXPECT_EQ(run({9}), ok({77}));
    EXPECT_EQ(radio.whitelist.slots().size(), 1U);
    radio.setPairingStatus(std::nullopt);
    EXPECT_EQ(run({9}), ok({2}));
}

TEST_F(Commands, AListIsRebuiltByTheCommandOfItsPages) {
    radio.rebuildScan(250);
    rebuildList(radio, "scan_list", 7);
    EXPECT_EQ(run({4, 0, 15}), ok({1, 0, 0, 0}));
    rebuildList(radio, "whitelist_list", 3);
    EXPECT_EQ(run({6, 0, 15}), ok({4, 0, 0, 0}));
    EXPECT_EQ(radio.scan().listId, 1);
}

} // namespace
} // namespace zvcam
