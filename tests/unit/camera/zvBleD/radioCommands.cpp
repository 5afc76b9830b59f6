#include "radioCommands.h"

#include "whitelistFile.h"

#include <gtest/gtest.h>

namespace zvcamera {
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
    CommandResult run(const Bytes& data) { return runCommand(radio_, data, now_); }
    Radio radio_;
    Millis now_ = 0;
};

TEST_F(Commands, UnknownCodesAndWrongSizesAreRefused) {
    EXPECT_EQ(refused(Status::UnknownCommand), run({}));
    for (const std::uint8_t code : Bytes{0, 5, 11, 255}) {
        EXPECT_EQ(refused(Status::UnknownCommand), run({code, 0, 0})) << int{code};
    }
    for (const CommandInfo& info : bleCommands) {
        const auto code = static_cast<std::uint8_t>(info.code);
        for (std::size_t size = 1; size < 20; ++size) {
            Bytes data(size);
            data[0] = code;
            if (size != info.dataSize) {
                EXPECT_EQ(refused(Status::BadParameters), run(data)) << info.name << " " << size;
            }
        }
    }
    EXPECT_EQ(PairingStatus::Idle, radio_.pairing().status);
    EXPECT_EQ(1, radio_.autoConnect);
}

TEST_F(Commands, OnlyListsAreRebuilt) {
    const std::uint8_t scan = radio_.scan().listId;
    const std::uint8_t whitelist = radio_.whitelist.listId();
    for (const char* command : {"config_get", "PD", ""}) {
        rebuildList(radio_, command, 3);
        EXPECT_EQ(scan, radio_.scan().listId);
        EXPECT_EQ(whitelist, radio_.whitelist.listId());
    }
    rebuildList(radio_, "scan_list", 3);
    rebuildList(radio_, "whitelist_list", 4);
    EXPECT_EQ(3, radio_.scan().listId - scan);
    EXPECT_EQ(4, radio_.whitelist.listId() - whitelist);
}

TEST_F(Commands, ScanStartsWithAModeAndStopsWithZero) {
    EXPECT_EQ(ok(), run({1, 2}));
    EXPECT_TRUE(radio_.scan().running);
    EXPECT_EQ(2, radio_.scan().mode);
    EXPECT_EQ(ok(), run({1, 0}));
    EXPECT_FALSE(radio_.scan().running);
}

TEST_F(Commands, ConfigurationIsSetAndRead) {
    EXPECT_EQ(ok({1}), run({10}));
    EXPECT_EQ(ok(), run({8, 0, 0}));
    EXPECT_EQ(ok({0}), run({10}));
    EXPECT_EQ(ok(), run({8, 0, 255}));
    EXPECT_EQ(ok({255}), run({10}));
}

TEST_F(Commands, PairingRunsThroughItsStatusValues) {
    Device one;
    one.address = parseAddress("a1b2c3d4e5f6");
    one.addressType = 1;
    radio_.setDevice(one);
    EXPECT_EQ(ok({0}), run({9}));
    EXPECT_EQ(ok(), run({2, 0xf6, 0xe5, 0xd4, 0xc3, 0xb2, 0xa1, 1}));
    EXPECT_EQ(ok({1}), run({9}));
    EXPECT_EQ(refused(Status::Busy), run({2, 0xf6, 0xe5, 0xd4, 0xc3, 0xb2, 0xa1, 1}));
    EXPECT_EQ(refused(Status::NotFound), run({3, 0xf6, 0xe5, 0xd4, 0xc3, 0xb2, 0xa1, 0}));
    EXPECT_EQ(ok(), run({3, 0xf6, 0xe5, 0xd4, 0xc3, 0xb2, 0xa1, 1}));
    EXPECT_EQ(ok({4}), run({9}));
    EXPECT_EQ(ok(), run({2, 0xf6, 0xe5, 0xd4, 0xc3, 0xb2, 0xa1, 1}));
    now_ = 2000;
    EXPECT_EQ(ok({2}), run({9}));
}

TEST_F(Commands, AnEmptyListIsOnePageOfNothing) {
    EXPECT_EQ(ok({0, 0, 0, 0}), run({4, 0, 15}));
    EXPECT_EQ(ok({1, 0, 0, 0}), run({6, 0, 255}));
}

TEST_F(Commands, AWhitelistPageHoldsItsEntries) {
    radio_.whitelist.assign({slot("060504030201"), slot("0a0b0c0d0e0f", false)});
    Bytes expected{2, 2, 0, 2, 1, 2, 3, 4, 5, 6, 0x40, 0, 10, 1, 'S'};
    expected.resize(4 + 41);
    expected.insert(expected.end(), {0x0f, 0x0e, 0x0d, 0x0c, 0x0b, 0x0a, 0, 0, 10, 1, 'S'});
    expected.resize(4 + 82);
    EXPECT_EQ(ok(expected), run({6, 0, 255}));
    expected.erase(expected.begin() + 4, expected.begin() + 4 + 41);
    expected[2] = 1;
    expected[3] = 1;
    EXPECT_EQ(ok(expected), run({6, 1, 255}));
}

TEST_F(Commands, FiftySlotsComeInPagesOfThirty) {
    radio_.settings.whitelistPage = 30;
    radio_.whitelist.assign(std::vector<Slot>(50, slot("060504030201")));
    CommandResult page = run({6, 0, 255});
    EXPECT_EQ((Bytes{2, 50, 0, 30}), Bytes(page.data.begin(), page.data.begin() + 4));
    EXPECT_EQ(4U + 30 * 41, page.data.size());
    page = run({6, 30, 20});
    EXPECT_EQ((Bytes{2, 50, 30, 20}), Bytes(page.data.begin(), page.data.begin() + 4));
    EXPECT_EQ(4U + 20 * 41, page.data.size());
}

TEST_F(Commands, APageFitsIntoAMessage) {
    radio_.whitelist.assign(std::vector<Slot>(255, slot("060504030201")));
    const CommandResult page = run({6, 0, 255});
    EXPECT_EQ(255, page.data[1]);
    EXPECT_EQ(36, page.data[3]);
    EXPECT_LE(page.data.size() + 13, 1500U);
}

TEST_F(Commands, APageHoldsNoMoreThanAskedFor) {
    radio_.whitelist.assign(std::vector<Slot>(5, slot("060504030201")));
    EXPECT_EQ(2, run({6, 1, 2}).data[3]);
    EXPECT_EQ(1, run({6, 4, 2}).data[3]);
    EXPECT_EQ(ok({2, 5, 0, 0}), run({6, 0, 0}));
    EXPECT_EQ(ok({2, 5, 5, 0}), run({6, 5, 9}));
    EXPECT_EQ(ok({2, 5, 200, 0}), run({6, 200, 9}));
}

TEST_F(Commands, AScanPageHoldsItsEntries) {
    for (std::uint8_t i = 1; i <= 20; ++i) {
        Device one;
        one.address = {i};
        one.foundAfter = i;
        one.rssi = -60;
        one.rssiVariation = 0;
        radio_.setDevice(one);
    }
    run({1, 1});
    now_ = 100;
    const CommandResult page = run({4, 0, 15});
    EXPECT_EQ((Bytes{1, 20, 0, 15, 1, 0, 0, 0, 0, 0, 0, 0xc4}), Bytes(page.data.begin(), page.data.begin() + 12));
    EXPECT_EQ(4U + 15 * 82, page.data.size());
    EXPECT_EQ(18, run({4, 0, 255}).data[3]);
    EXPECT_EQ(5, run({4, 15, 15}).data[3]);
}

TEST_F(Commands, RemovingFreesTheSlotInPlace) {
    radio_.whitelist.assign({slot("000000000001"), slot("060504030201"), slot("000000000003")});
    EXPECT_EQ(ok(), run({7, 0, 0, 1, 2, 3, 4, 5, 6}));
    const CommandResult page = run({6, 0, 255});
    EXPECT_EQ(3, page.data[0]); // rebuilt
    EXPECT_EQ(3, page.data[1]);
    EXPECT_EQ(0, page.data[4 + 41 + 6] & 0x40);
    EXPECT_EQ(1, page.data[4 + 41]); // what it held is still there
    EXPECT_EQ(refused(Status::NotFound), run({7, 0, 0, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(refused(Status::NotFound), run({7, 4, 1, 1, 2, 3, 4, 5, 6}));
    radio_.whitelist.take(slot("0000000000ff"), 64);
    EXPECT_EQ(0xff, run({6, 0, 255}).data[4 + 41]); // the free slot is taken first
}

TEST_F(Commands, AutoConnectIsSetByAnyValueButZero) {
    radio_.whitelist.assign({slot("060504030201")});
    EXPECT_EQ(ok(), run({7, 4, 7, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(0x50, run({6, 0, 255}).data[4 + 6]);
    EXPECT_EQ(ok(), run({7, 4, 0, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(0x40, run({6, 0, 255}).data[4 + 6]);
    EXPECT_EQ(2, run({6, 0, 255}).data[0]); // not rebuilt
    EXPECT_EQ(refused(Status::BadParameters), run({7, 1, 1, 1, 2, 3, 4, 5, 6}));
}

TEST_F(Commands, AStatusSetByHandIsToldUntilTheNextPairingAndIsNoneItself) {
    Device one;
    one.address = parseAddress("060504030201");
    radio_.setDevice(one);
    for (const std::uint8_t byte : Bytes{1, 77}) {
        radio_.setPairingStatus(byte);
        now_ += 20000; // long enough for any pairing to end
        EXPECT_EQ(ok({byte}), run({9}));
        EXPECT_EQ(refused(Status::NotFound), run({3, 0, 0, 0, 0, 0, 0, 0})); // there is nothing to cancel
        EXPECT_EQ(ok(), run({2, 1, 2, 3, 4, 5, 6, 0}));
        EXPECT_EQ(ok({1}), run({9}));
        now_ += 2000;
        EXPECT_EQ(ok({2}), run({9}));
    }
}

TEST_F(Commands, APairingGoesOnBelowAStatusSetByHand) {
    Device one;
    one.address = parseAddress("060504030201");
    radio_.setDevice(one);
    EXPECT_EQ(ok(), run({2, 1, 2, 3, 4, 5, 6, 0}));
    radio_.setPairingStatus(77);
    EXPECT_EQ(refused(Status::Busy), run({2, 1, 2, 3, 4, 5, 6, 0}));
    now_ = 2000;
    EXPECT_EQ(ok({77}), run({9}));
    EXPECT_EQ(1U, radio_.whitelist.slots().size());
    radio_.setPairingStatus(std::nullopt);
    EXPECT_EQ(ok({2}), run({9}));
}

TEST_F(Commands, AListIsRebuiltByTheCommandOfItsPages) {
    radio_.rebuildScan(250);
    rebuildList(radio_, "scan_list", 7);
    EXPECT_EQ(ok({1, 0, 0, 0}), run({4, 0, 15}));
    rebuildList(radio_, "whitelist_list", 3);
    EXPECT_EQ(ok({4, 0, 0, 0}), run({6, 0, 15}));
    EXPECT_EQ(1, radio_.scan().listId);
}

} // namespace
} // namespace zvcamera
