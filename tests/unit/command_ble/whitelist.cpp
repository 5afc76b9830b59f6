#include "command_ble.h"
#include "listDaemon.h"
#include "scarceMemory.h"

#include <algorithm>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class WhitelistList : public BleTest {};
class WhitelistDevice : public BleTest {};

constexpr int inUse = 0x0040;

// 40 devices whose document has this many characters: their names make up the length.
LongList longList(std::size_t length) {
    LongList list{{}, "\n{\"list_id\":4,\"total\":40,\"index\":0,\"index_count\":40,\"device_array\":["};
    const std::string object = whitelistObject(0);
    const std::string end = "]\n}\n";
    std::size_t missing = length - list.document.size() - 40 * object.size() - 39 - end.size();
    for (int i = 0; i < 40; ++i) {
        const std::string name(std::min<std::size_t>(missing, 31), 'n');
        missing -= name.size();
        list.entries.push_back(whitelistEntry({static_cast<std::uint8_t>(i), 0, 0, 0, 0, 0}, inUse, name));
        list.document += i == 0 ? "" : ",";
        list.document += whitelistObject(i).insert(object.find("\",\"mitm"), name);
    }
    list.document += end;
    return list;
}

} // namespace

TEST_F(WhitelistList, EmptyList) {
    peer_.reply(replyOf(0, {3, 0, 0, 0}));
    EXPECT_EQ(0, call(ble_whitelist_list, nullptr));
    EXPECT_EQ("\n{\"list_id\":3,\"total\":0,\"index\":0,\"index_count\":0,\"device_array\":[]\n}\n", response());
    EXPECT_THAT(sent(), ElementsAre(Bytes{6, 0, 255}));
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(WhitelistList, SlotsThatAreNotInUseAreLeftOut) {
    peer_.reply(replyOf(0, pageData(4, 3, 0, 3,
                                    {whitelistEntry({1, 2, 3, 4, 5, 6}, 0x005A, "Grip"),
                                     whitelistEntry({9, 9, 9, 9, 9, 9}, 0xFFFF & ~inUse, "gone"),
                                     whitelistEntry({0xF6, 0xE5, 0xD4, 0xC3, 0xB2, 0xA1}, inUse)})));
    EXPECT_EQ(0, call(ble_whitelist_list, ""));
    EXPECT_EQ("\n{\"list_id\":4,\"total\":2,\"index\":0,\"index_count\":2,\"device_array\":["
              "{\"address\":\"060504030201\",\"name\":\"Grip\",\"mitm_paired\":1,\"auto_connect\":1,\"connected\":"
              "1},"
              "{\"address\":\"a1b2c3d4e5f6\",\"name\":\"\",\"mitm_paired\":0,\"auto_connect\":0,\"connected\":0}"
              "]\n}\n",
              response());
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(WhitelistList, EveryFlagHasItsMember) {
    const struct {
        int flags;
        const char* members;
    } rows[] = {
        {0x0048, "\"mitm_paired\":1,\"auto_connect\":0,\"connected\":0}"},
        {0x0050, "\"mitm_paired\":0,\"auto_connect\":1,\"connected\":0}"},
        {0x0042, "\"mitm_paired\":0,\"auto_connect\":0,\"connected\":1}"},
        {0xFFE5, "\"mitm_paired\":0,\"auto_connect\":0,\"connected\":0}"},
    };
    for (const auto& row : rows) {
        peer_.reply(replyOf(0, pageData(4, 1, 0, 1, {whitelistEntry({1, 2, 3, 4, 5, 6}, row.flags)})));
        EXPECT_EQ(0, call(ble_whitelist_list, ""));
        EXPECT_THAT(response(), testing::HasSubstr(row.members));
    }
}

TEST_F(WhitelistList, NameEndsAtItsFieldSize) {
    peer_.reply(
        replyOf(0, pageData(4, 1, 0, 1, {put(whitelistEntry({1, 2, 3, 4, 5, 6}, inUse, "Remote control"), 9, {5})})));
    EXPECT_EQ(0, call(ble_whitelist_list, ""));
    EXPECT_THAT(response(), testing::HasSubstr("\"name\":\"Remot\","));
}

TEST_F(WhitelistList, NameOfALargeSizeStaysWithinTheBuffer) {
    for (int offset = 0; offset < 256; ++offset) {
        Bytes last = whitelistEntry({1, 2, 3, 4, 5, 6}, inUse);
        last[8] = static_cast<std::uint8_t>(offset);
        last[9] = 255;
        std::vector<Bytes> entries(36, Bytes(41, 'x'));
        entries.back() = last;
        peer_.reply(replyOf(0, pageData(4, 36, 0, 36, entries)));
        EXPECT_EQ(0, callWithoutBuffer(ble_whitelist_list, ""));
    }
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(WhitelistList, LastEntryIsReadToTheBuffersEndAndNoFurther) {
    // The last of 36 entries begins at 1439, its name 50 bytes behind: 11 bytes before the end.
    std::vector<Bytes> entries(36, Bytes(41));
    entries.back() = put(whitelistEntry({1, 2, 3, 4, 5, 6}, inUse), 8, {50, 255});
    const Bytes reply = replyOf(0, pageData(4, 36, 0, 36, entries));
    std::fill(ble_msg_buffer + reply.size(), ble_msg_buffer + BLE_MSG_SIZE, std::uint8_t{'z'});
    peer_.reply(reply);
    EXPECT_EQ(0, call(ble_whitelist_list, ""));
    EXPECT_EQ("\n{\"list_id\":4,\"total\":1,\"index\":0,\"index_count\":1,\"device_array\":["
              "{\"address\":\"060504030201\",\"name\":\"zzzzzzzzzzz\",\"mitm_paired\":0,\"auto_connect\":0,"
              "\"connected\":0}]\n}\n",
              response());
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(WhitelistList, NameAcrossTheEntrysEndIsReadFromTheNextEntry) {
    const Bytes reaching = put(put(whitelistEntry({1, 2, 3, 4, 5, 6}, inUse), 8, {39, 4}), 39, bytesOf("ab"));
    const Bytes next = whitelistEntry({'c', 'd', 'e', 0, 0, 0}, 0);
    peer_.reply(replyOf(0, pageData(4, 2, 0, 2, {reaching, next})));
    EXPECT_EQ(0, call(ble_whitelist_list, ""));
    EXPECT_EQ("\n{\"list_id\":4,\"total\":1,\"index\":0,\"index_count\":1,\"device_array\":["
              "{\"address\":\"060504030201\",\"name\":\"abcd\",\"mitm_paired\":0,\"auto_connect\":0,"
              "\"connected\":0}]\n}\n",
              response());
}

TEST_F(WhitelistList, FreeSlotsAreSubtractedEvenFromASmallerTotal) {
    peer_.reply(replyOf(0, pageData(4, 1, 0, 3, std::vector<Bytes>(3, Bytes(41)))));
    EXPECT_EQ(0, call(ble_whitelist_list, ""));
    EXPECT_EQ("\n{\"list_id\":4,\"total\":-2,\"index\":0,\"index_count\":-2,\"device_array\":[]\n}\n", response());
    EXPECT_THAT(sent(), ElementsAre(Bytes{6, 0, 255}));
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(WhitelistList, SinglePage) {
    peer_.replyWith(ListDaemon{4, 30, whitelistOf(50)});
    EXPECT_EQ(0, call(ble_whitelist_list, "p=49"));
    EXPECT_THAT(sent(), ElementsAre(Bytes{6, 49, 255}));
    EXPECT_EQ("\n{\"list_id\":4,\"total\":50,\"index\":49,\"index_count\":1,\"device_array\":[" + whitelistObject(49) +
                  "]\n}\n",
              response());
}

TEST_F(WhitelistList, FreeSlotOfASinglePageIsNotCounted) {
    ListDaemon daemon{4, 30, whitelistOf(5)};
    daemon.entries[3] = whitelistEntry({3, 0, 0, 0, 0, 0}, 0xFFFF & ~inUse, "gone");
    peer_.replyWith(daemon);
    EXPECT_EQ(0, call(ble_whitelist_list, "p=2"));
    EXPECT_THAT(sent(), ElementsAre(Bytes{6, 2, 255}));
    EXPECT_EQ("\n{\"list_id\":4,\"total\":4,\"index\":2,\"index_count\":2,\"device_array\":[" + whitelistObject(2) +
                  "," + whitelistObject(4) + "]\n}\n",
              response());
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(WhitelistList, StartIndexIsCutToEightBits) {
    peer_.replyWith(ListDaemon{4, 30, whitelistOf(50)});
    EXPECT_EQ(0, call(ble_whitelist_list, "p=300"));
    EXPECT_THAT(sent(), ElementsAre(Bytes{6, 44, 255}));
}

TEST_F(WhitelistList, FortyDevicesInPagesOfThirty) {
    peer_.replyWith(ListDaemon{4, 30, whitelistOf(40)});
    EXPECT_EQ(0, call(ble_whitelist_list, ""));
    EXPECT_THAT(sent(), ElementsAre(Bytes{6, 0, 255}, Bytes{6, 30, 10}));
    std::string expected = "\n{\"list_id\":4,\"total\":40,\"index\":0,\"index_count\":40,\"device_array\":[";
    for (int i = 0; i < 40; ++i) {
        expected += (i == 0 ? "" : ",") + whitelistObject(i);
    }
    EXPECT_EQ(expected + "]\n}\n", response());
    EXPECT_GT(4096U, response().size());
}

TEST_F(WhitelistList, FiftyDevicesAreTooMany) {
    peer_.replyWith(ListDaemon{4, 30, whitelistOf(50)});
    EXPECT_EQ(-1, call(ble_whitelist_list, ""));
    EXPECT_THAT(sent(), ElementsAre(Bytes{6, 0, 255}, Bytes{6, 30, 20}));
    EXPECT_EQ("untouched", response());
    EXPECT_THAT(logged(), ElementsAre("Not enough room in buffer for response\n"));
}

TEST_F(WhitelistList, DocumentOf4095CharactersIsTheLongest) {
    const LongList fitting = longList(4095);
    ASSERT_EQ(4095U, fitting.document.size());
    peer_.replyWith(ListDaemon{4, 30, fitting.entries});
    EXPECT_EQ(0, call(ble_whitelist_list, ""));
    EXPECT_EQ(fitting.document, response());
    EXPECT_THAT(logged(), IsEmpty());

    const LongList tooLong = longList(4096);
    ASSERT_EQ(4096U, tooLong.document.size());
    peer_.replyWith(ListDaemon{4, 30, tooLong.entries});
    EXPECT_EQ(-1, call(ble_whitelist_list, ""));
    EXPECT_EQ("untouched", response());
    EXPECT_THAT(logged(), ElementsAre("Not enough room in buffer for response\n"));
}

TEST_F(WhitelistList, FiftyDevicesWithoutABuffer) {
    peer_.replyWith(ListDaemon{4, 30, whitelistOf(50)});
    EXPECT_EQ(0, callWithoutBuffer(ble_whitelist_list, ""));
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(WhitelistList, DocumentNeedsRoomForItsZero) {
    const Bytes reply = {3, 0, 0, 0};
    peer_.reply(replyOf(0, reply));
    EXPECT_EQ(0, callWithRoom(ble_whitelist_list, "", 71));
    peer_.reply(replyOf(0, reply));
    EXPECT_EQ(-1, callWithRoom(ble_whitelist_list, "", 70));
    EXPECT_EQ("untouched", response());
    EXPECT_THAT(logged(), ElementsAre("Not enough room in buffer for response\n"));
}

TEST_F(WhitelistList, RebuiltListKeepsTheAbandonedAttemptInFront) {
    peer_.reply(replyOf(0, pageData(1, 4, 0, 3,
                                    {whitelistEntry({0, 0, 0, 0, 0, 0}, inUse), whitelistEntry({8, 0, 0, 0, 0, 0}, 0),
                                     whitelistEntry({1, 0, 0, 0, 0, 0}, inUse)})));
    peer_.reply(replyOf(0, pageData(2, 4, 3, 1, {whitelistEntry({7, 0, 0, 0, 0, 0}, inUse)})));
    peer_.reply(replyOf(0, pageData(2, 2, 0, 1, {whitelistEntry({2, 0, 0, 0, 0, 0}, inUse)})));
    peer_.reply(replyOf(0, pageData(2, 2, 1, 1, {whitelistEntry({3, 0, 0, 0, 0, 0}, inUse)})));
    EXPECT_EQ(0, call(ble_whitelist_list, ""));
    EXPECT_THAT(sent(), ElementsAre(Bytes{6, 0, 255}, Bytes{6, 3, 1}, Bytes{6, 0, 1}, Bytes{6, 1, 1}));
    EXPECT_EQ("\n{\"list_id\":2,\"total\":2,\"index\":0,\"index_count\":2,\"device_array\":[" + whitelistObject(0) +
                  "," + whitelistObject(1) + whitelistObject(2) + "," + whitelistObject(3) + "]\n}\n",
              response());
    EXPECT_THAT(logged(),
                ElementsAre(warning("list_id changed on attempt:0 from 1 to 2 while acquiring list. Reacquiring!")));
}

TEST_F(WhitelistList, RebuiltTwiceFails) {
    for (const int id : {1, 2, 3, 4}) {
        const int index = id % 2 == 0 ? 1 : 0;
        peer_.reply(replyOf(0, pageData(id, 2, index, 1, {whitelistEntry({1, 0, 0, 0, 0, 0}, inUse)})));
    }
    EXPECT_EQ(-1, call(ble_whitelist_list, ""));
    EXPECT_EQ("untouched", response());
    EXPECT_THAT(logged(),
                ElementsAre(warning("list_id changed on attempt:0 from 1 to 2 while acquiring list. Reacquiring!"),
                            warning("list_id changed on attempt:1 from 3 to 4 while acquiring list. Reacquiring!"),
                            "Failed to get continuous list results after 2 attempts."));
}

TEST_F(WhitelistList, NotANumber) {
    EXPECT_EQ(-3, call(ble_whitelist_list, "p="));
    EXPECT_THAT(logged(), ElementsAre("Error parsing p parameter []"));
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(WhitelistList, Refused) {
    peer_.reply(replyOf(1));
    EXPECT_EQ(-1, call(ble_whitelist_list, ""));
    EXPECT_EQ("untouched", response());
    EXPECT_THAT(logged(), ElementsAre("Failed to get proper response for scan results: -1"));
}

TEST_F(WhitelistDevice, Found) {
    peer_.replyWith(ListDaemon{4,
                               30,
                               {whitelistEntry({6, 5, 4, 3, 2, 1}, inUse, "other"),
                                whitelistEntry({0xF6, 0xE5, 0xD4, 0xC3, 0xB2, 0xA1}, 0x0050, "Grip")}});
    EXPECT_EQ(0, call(ble_whitelist_device, "address=A1B2C3D4E5F6"));
    EXPECT_EQ("\n{\"device\":{\"address\":\"a1b2c3d4e5f6\",\"name\":\"Grip\",\"mitm_paired\":0,\"auto_connect\":1,"
              "\"connected\":0}}\n",
              response());
    EXPECT_THAT(sent(), ElementsAre(Bytes{6, 0, 255}));
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(WhitelistDevice, FirstEntryInUseOfThatAddressCounts) {
    peer_.replyWith(
        ListDaemon{4,
                   30,
                   {whitelistEntry({1, 0, 0, 0, 0, 0}, 0, "free"), whitelistEntry({1, 0, 0, 0, 0, 0}, inUse, "one"),
                    whitelistEntry({1, 0, 0, 0, 0, 0}, inUse, "two")}});
    EXPECT_EQ(0, call(ble_whitelist_device, "address=1"));
    EXPECT_THAT(response(), testing::HasSubstr("\"name\":\"one\""));
    EXPECT_THAT(response(), testing::Not(testing::HasSubstr("two")));
}

TEST_F(WhitelistDevice, StartIndexInTheQueryIsIgnored) {
    peer_.replyWith(ListDaemon{4, 30, whitelistOf(10)});
    for (const char* query : {"address=1&p=5", "p=5&address=1", "p=x&address=1"}) {
        EXPECT_EQ(0, call(ble_whitelist_device, query)) << query;
        EXPECT_EQ((Bytes{6, 0, 255}), sent().back()) << query;
        EXPECT_EQ("\n{\"device\":" + whitelistObject(1) + "}\n", response()) << query;
    }
    EXPECT_EQ(3U, sent().size());
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(WhitelistDevice, FoundOnALaterPage) {
    peer_.replyWith(ListDaemon{4, 10, whitelistOf(50)});
    EXPECT_EQ(0, call(ble_whitelist_device, "address=19"));
    EXPECT_EQ("\n{\"device\":" + whitelistObject(25) + "}\n", response());
    EXPECT_THAT(sent(), ElementsAre(Bytes{6, 0, 255}, Bytes{6, 10, 40}, Bytes{6, 20, 30}));
}

TEST_F(WhitelistDevice, FoundAfterARebuild) {
    peer_.reply(replyOf(0, pageData(1, 2, 0, 1, {whitelistEntry({9, 0, 0, 0, 0, 0}, inUse)})));
    peer_.reply(replyOf(0, pageData(2, 2, 1, 1, {whitelistEntry({1, 0, 0, 0, 0, 0}, inUse)})));
    peer_.reply(replyOf(0, pageData(2, 2, 0, 1, {whitelistEntry({1, 0, 0, 0, 0, 0}, inUse)})));
    EXPECT_EQ(0, call(ble_whitelist_device, "address=1"));
    EXPECT_EQ("\n{\"device\":" + whitelistObject(1) + "}\n", response());
    EXPECT_THAT(logged(),
                ElementsAre(warning("list_id changed on attempt:0 from 1 to 2 while acquiring list. Reacquiring!")));
}

TEST_F(WhitelistDevice, NotFound) {
    peer_.replyWith(ListDaemon{4, 30, whitelistOf(50)});
    EXPECT_EQ(0, call(ble_whitelist_device, "address=A1B2C3D4E5F6"));
    EXPECT_EQ("\n{}\n", response());
    EXPECT_EQ(2U, sent().size());
}

TEST_F(WhitelistDevice, SlotThatIsNotInUseIsNotFound) {
    peer_.replyWith(ListDaemon{4, 30, {whitelistEntry({1, 0, 0, 0, 0, 0}, 0xFFFF & ~inUse, "gone")}});
    EXPECT_EQ(0, call(ble_whitelist_device, "address=000000000001"));
    EXPECT_EQ("\n{}\n", response());
}

TEST_F(WhitelistDevice, MissingAddress) {
    EXPECT_EQ(-3, call(ble_whitelist_device, "device=1"));
    EXPECT_EQ(-3, call(ble_whitelist_device, nullptr));
    EXPECT_THAT(logged(),
                ElementsAre("Failed to parse required param address=", "Failed to parse required param address="));
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(WhitelistDevice, BadAddress) {
    EXPECT_EQ(-3, call(ble_whitelist_device, "x=1&address=A1:B2"));
    EXPECT_EQ(-3, call(ble_whitelist_device, "address="));
    EXPECT_THAT(logged(), ElementsAre("Failed to parse device address from x=1&address=A1:B2",
                                      "Failed to parse device address from address="));
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(WhitelistDevice, FailedAcquisition) {
    peer_.reply(replyOf(0, pageData(1, 2, 0, 1, {whitelistEntry({9, 0, 0, 0, 0, 0}, inUse)})));
    peer_.reply(replyOf(0, pageData(1, 2, 0, 1, {whitelistEntry({1, 0, 0, 0, 0, 0}, inUse)})));
    EXPECT_EQ(-1, call(ble_whitelist_device, "address=1"));
    EXPECT_EQ("untouched", response());
    EXPECT_THAT(logged(), ElementsAre("Requested data from index:1 got data from :0"));
}

TEST_F(WhitelistDevice, NeedsRoomAndToleratesNoBuffer) {
    const ListDaemon daemon{4, 30, {}};
    peer_.replyWith(daemon);
    EXPECT_EQ(0, callWithRoom(ble_whitelist_device, "address=1", 5));
    EXPECT_EQ("\n{}\n", response());
    EXPECT_EQ(-1, callWithRoom(ble_whitelist_device, "address=1", 4));
    EXPECT_EQ("untouched", response());
    EXPECT_THAT(logged(), ElementsAre("Not enough room in buffer for response\n"));
    EXPECT_EQ(0, callWithoutBuffer(ble_whitelist_device, "address=1"));
}

TEST_F(WhitelistList, WithoutMemoryForItsDocument) {
    peer_.replyWith(ListDaemon{1, 255, whitelistOf(30)});
    int result = 0;
    {
        const zvtest::ScarceMemory scarce(1000);
        result = call(ble_whitelist_list, "");
    }
    EXPECT_EQ(-1, result);
    EXPECT_EQ("untouched", response());
    EXPECT_THAT(logged(), ElementsAre("No memory for the list"));
}

TEST_F(WhitelistDevice, WithoutMemoryForItsDocument) {
    peer_.replyWith(ListDaemon{1, 255, whitelistOf(1)});
    int result = 0;
    {
        const zvtest::ScarceMemory scarce(40);
        result = call(ble_whitelist_device, "address=000000000000");
    }
    EXPECT_EQ(-1, result);
    EXPECT_EQ("untouched", response());
    EXPECT_THAT(logged(), ElementsAre("No memory for the list"));
}
