#include "command_ble.h"
#include "listDaemon.h"

#include <algorithm>
#include <cstdio>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const Bytes address = {0xF6, 0xE5, 0xD4, 0xC3, 0xB2, 0xA1};

class ScanList : public BleTest {
protected:
    // The device array of a list with this entry alone, when the entry stands at the end of the reply.
    std::string deviceArray(const Bytes& entry) {
        peer_.reply(replyOf(0, pageData(1, 1, 0, 1, {entry})));
        EXPECT_EQ(0, call(ble_scan_list, ""));
        const std::string text = response();
        const std::string before = "\n{\"list_id\":1,\"total\":1,\"index\":0,\"index_count\":1,\"device_array\":[";
        const std::string behind = "]\n}\n";
        EXPECT_THAT(text, testing::StartsWith(before));
        EXPECT_THAT(text, testing::EndsWith(behind));
        return text.substr(before.size(), text.size() - before.size() - behind.size());
    }
};

Bytes fullEntry() {
    Bytes entry = scanEntry(address, 1, 0xC4);
    entry = put(entry, 8, {14, 10, 28, 16, 24, 4});
    entry = put(entry, 14, bytesOf("Grip Mk II"));
    entry = put(entry, 24, {0x0D, 0x18, 0x0F, 0x18});
    return put(entry, 28,
               {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF});
}

// The device object of a number's entry.
std::string scanObject(int number, const std::string& name) {
    char text[256];
    std::snprintf(text, sizeof text, R"({"address":"0000000000%02x","address_type":0,"rssi":0,"name":"%s"})", number,
                  name.c_str());
    return text;
}

// 32 devices whose document has this many characters: their names make up the length.
LongList longList(std::size_t length) {
    LongList list{{}, "\n{\"list_id\":1,\"total\":32,\"index\":0,\"index_count\":32,\"device_array\":["};
    const std::string end = "]\n}\n";
    std::size_t missing = length - list.document.size() - 32 * scanObject(0, "").size() - 31 - end.size();
    for (std::uint8_t i = 0; i < 32; ++i) {
        const std::string name(std::min<std::size_t>(missing, 68), 'n');
        missing -= name.size();
        list.entries.push_back(put(put(scanEntry({i, 0, 0, 0, 0, 0}), 8, {14, 68}), 14, bytesOf(name)));
        list.document += i == 0 ? "" : ",";
        list.document += scanObject(i, name);
    }
    list.document += end;
    return list;
}

} // namespace

TEST_F(ScanList, EmptyList) {
    peer_.reply(replyOf(0, {3, 0, 0, 0}));
    EXPECT_EQ(0, call(ble_scan_list, ""));
    EXPECT_EQ("\n{\"list_id\":3,\"total\":0,\"index\":0,\"index_count\":0,\"device_array\":[]\n}\n", response());
    EXPECT_THAT(sent(), ElementsAre(Bytes{4, 0, 15}));
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(ScanList, WholeDocument) {
    peer_.reply(replyOf(0, pageData(200, 2, 0, 2, {fullEntry(), scanEntry({1, 2, 3, 4, 5, 6}, 255, 0x7F)})));
    EXPECT_EQ(0, call(ble_scan_list, nullptr));
    EXPECT_EQ("\n{\"list_id\":200,\"total\":2,\"index\":0,\"index_count\":2,\"device_array\":["
              "{\"address\":\"a1b2c3d4e5f6\",\"address_type\":1,\"rssi\":-60,\"name\":\"Grip Mk II\","
              "\"profile_uuid16\":[\"0d18\",\"0f18\"],"
              "\"profile_uuid128\":[\"00112233445566778899aabbccddeeff\"]},"
              "{\"address\":\"060504030201\",\"address_type\":255,\"rssi\":127,\"name\":\"\"}"
              "]\n}\n",
              response());
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(ScanList, SinglePage) {
    ListDaemon daemon{5, 15, {}};
    for (std::uint8_t i = 0; i < 20; ++i) {
        daemon.entries.push_back(scanEntry({i, 0, 0, 0, 0, 0}));
    }
    peer_.replyWith(daemon);
    EXPECT_EQ(0, call(ble_scan_list, "p=18"));
    EXPECT_THAT(sent(), ElementsAre(Bytes{4, 18, 15}));
    EXPECT_EQ("\n{\"list_id\":5,\"total\":20,\"index\":18,\"index_count\":2,\"device_array\":["
              "{\"address\":\"000000000012\",\"address_type\":0,\"rssi\":0,\"name\":\"\"},"
              "{\"address\":\"000000000013\",\"address_type\":0,\"rssi\":0,\"name\":\"\"}"
              "]\n}\n",
              response());
}

TEST_F(ScanList, PagesAreJoinedWithoutATrace) {
    peer_.reply(replyOf(0, pageData(5, 2, 0, 1, {scanEntry({1, 0, 0, 0, 0, 0})})));
    peer_.reply(replyOf(0, pageData(5, 2, 1, 1, {scanEntry({2, 0, 0, 0, 0, 0})})));
    EXPECT_EQ(0, call(ble_scan_list, ""));
    EXPECT_EQ("\n{\"list_id\":5,\"total\":2,\"index\":0,\"index_count\":2,\"device_array\":["
              "{\"address\":\"000000000001\",\"address_type\":0,\"rssi\":0,\"name\":\"\"},"
              "{\"address\":\"000000000002\",\"address_type\":0,\"rssi\":0,\"name\":\"\"}"
              "]\n}\n",
              response());
}

TEST_F(ScanList, RebuiltListDropsTheAbandonedAttempt) {
    peer_.reply(replyOf(0, pageData(1, 2, 0, 1, {scanEntry({0xAA, 0, 0, 0, 0, 0})})));
    peer_.reply(replyOf(0, pageData(2, 2, 1, 1, {scanEntry({0xBB, 0, 0, 0, 0, 0})})));
    peer_.reply(replyOf(0, pageData(2, 1, 0, 1, {scanEntry({0xCC, 0, 0, 0, 0, 0})})));
    EXPECT_EQ(0, call(ble_scan_list, ""));
    EXPECT_THAT(sent(), ElementsAre(Bytes{4, 0, 15}, Bytes{4, 1, 1}, Bytes{4, 0, 1}));
    EXPECT_EQ("\n{\"list_id\":2,\"total\":1,\"index\":0,\"index_count\":1,\"device_array\":["
              "{\"address\":\"0000000000cc\",\"address_type\":0,\"rssi\":0,\"name\":\"\"}"
              "]\n}\n",
              response());
    EXPECT_THAT(logged(),
                ElementsAre(warning("scan_id changed on attempt:0 from 1 to 2 while acquiring list. Reacquiring!")));
}

TEST_F(ScanList, NameIsCopiedAsItIs) {
    Bytes entry = put(scanEntry(address), 8, {14, 5});
    EXPECT_EQ("{\"address\":\"a1b2c3d4e5f6\",\"address_type\":0,\"rssi\":0,\"name\":\"a\"\\b\xFF\"}",
              deviceArray(put(entry, 14, bytesOf("a\"\\b\xFF"))));
    EXPECT_THAT(deviceArray(put(entry, 14, bytesOf("longer than five"))), testing::HasSubstr("\"name\":\"longe\"}"));
    EXPECT_THAT(deviceArray(put(entry, 14, bytesOf("ab"))), testing::HasSubstr("\"name\":\"ab\"}"));
}

TEST_F(ScanList, OddListOf16BitUuidsIsLoggedAndReported) {
    Bytes entry = put(scanEntry(address), 12, {14, 3});
    EXPECT_EQ("{\"address\":\"a1b2c3d4e5f6\",\"address_type\":0,\"rssi\":0,\"name\":\"\","
              "\"profile_uuid16\":[\"0d18\",\"0f99\"]}",
              deviceArray(put(entry, 14, {0x0D, 0x18, 0x0F, 0x99})));
    EXPECT_THAT(logged(), ElementsAre("Invalid UUID16_Len 3  on a1b2c3d4e5f6"));
}

TEST_F(ScanList, PartialListOf128BitUuidsIsLoggedAndReported) {
    Bytes entry = put(scanEntry(address), 10, {14, 17});
    Bytes uuids(32);
    for (std::size_t i = 0; i < uuids.size(); ++i) {
        uuids[i] = static_cast<std::uint8_t>(i);
    }
    EXPECT_EQ("{\"address\":\"a1b2c3d4e5f6\",\"address_type\":0,\"rssi\":0,\"name\":\"\","
              "\"profile_uuid128\":[\"000102030405060708090a0b0c0d0e0f\",\"101112131415161718191a1b1c1d1e1f\"]}",
              deviceArray(put(entry, 14, uuids)));
    EXPECT_THAT(logged(), ElementsAre("Invalid UUID_128bit_Len 17 on a1b2c3d4e5f6"));
}

TEST_F(ScanList, BadListsOfBothKindsAreLoggedInTheirOrder) {
    const Bytes entry = put(scanEntry(address), 10, {16, 15, 14, 1});
    EXPECT_EQ(
        "{\"address\":\"a1b2c3d4e5f6\",\"address_type\":0,\"rssi\":0,\"name\":\"\","
        "\"profile_uuid16\":[\"0d18\"],"
        "\"profile_uuid128\":[\"000102030405060708090a0b0c0d0e0f\"]}",
        deviceArray(put(put(entry, 14, {0x0D, 0x18}), 16, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15})));
    EXPECT_THAT(logged(),
                ElementsAre("Invalid UUID16_Len 1  on a1b2c3d4e5f6", "Invalid UUID_128bit_Len 15 on a1b2c3d4e5f6"));
}

TEST_F(ScanList, SignalStrengthIsSigned) {
    for (const auto& [byte, number] : {std::pair{0x80, "-128"}, {0xFF, "-1"}, {0x7F, "127"}, {0, "0"}}) {
        EXPECT_EQ("{\"address\":\"a1b2c3d4e5f6\",\"address_type\":0,\"rssi\":" + std::string(number) +
                      ",\"name\":\"\"}",
                  deviceArray(scanEntry(address, 0, static_cast<std::uint8_t>(byte))));
    }
}

TEST_F(ScanList, NameAcrossTheEntrysEndIsReadFromTheNextEntry) {
    const Bytes reaching = put(put(scanEntry(address), 8, {80, 4}), 80, bytesOf("ab"));
    const Bytes next = scanEntry({'c', 'd', 'e', 0, 0, 0});
    peer_.reply(replyOf(0, pageData(1, 2, 0, 2, {reaching, next})));
    EXPECT_EQ(0, call(ble_scan_list, ""));
    EXPECT_EQ("\n{\"list_id\":1,\"total\":2,\"index\":0,\"index_count\":2,\"device_array\":["
              "{\"address\":\"a1b2c3d4e5f6\",\"address_type\":0,\"rssi\":0,\"name\":\"abcd\"},"
              "{\"address\":\"000000656463\",\"address_type\":0,\"rssi\":0,\"name\":\"\"}"
              "]\n}\n",
              response());
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(ScanList, LengthsWithoutAnOffsetAreNoLists) {
    EXPECT_EQ("{\"address\":\"a1b2c3d4e5f6\",\"address_type\":0,\"rssi\":0,\"name\":\"\"}",
              deviceArray(put(scanEntry(address), 8, {0, 9, 0, 17, 0, 3})));
    EXPECT_EQ("{\"address\":\"a1b2c3d4e5f6\",\"address_type\":0,\"rssi\":0,\"name\":\"\"}",
              deviceArray(put(scanEntry(address), 8, {14, 0, 14, 0, 14, 0})));
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(ScanList, ListAcrossTheEntrysEndIsReadFromTheNextEntry) {
    const Bytes reaching = put(put(scanEntry(address), 12, {80, 4}), 80, {0x11, 0x22});
    const Bytes next = scanEntry({0x33, 0x44, 0, 0, 0, 0});
    peer_.reply(replyOf(0, pageData(1, 2, 0, 2, {reaching, next})));
    EXPECT_EQ(0, call(ble_scan_list, ""));
    EXPECT_THAT(response(), testing::HasSubstr("\"profile_uuid16\":[\"1122\",\"3344\"]"));
}

TEST_F(ScanList, EveryOffsetAndLengthOfTheLastEntryStaysWithinTheBuffer) {
    // The entries stand as far behind in the buffer as a page allows.
    std::vector<Bytes> entries(15, scanEntry(address));
    for (int offset = 0; offset < 256; offset += 3) {
        for (const int length : {1, 2, 15, 16, 254, 255}) {
            const auto at = static_cast<std::uint8_t>(offset);
            const auto size = static_cast<std::uint8_t>(length);
            entries.back() = put(scanEntry(address), 8, {at, size, at, size, at, size});
            peer_.reply(replyOf(0, pageData(1, 15, 0, 15, entries)));
            EXPECT_EQ(0, callWithoutBuffer(ble_scan_list, ""));
        }
    }
}

TEST_F(ScanList, LastEntryIsReadToTheBuffersEndAndNoFurther) {
    // The last of 15 entries begins at 1152, its name and lists 255 bytes behind: 93 bytes before the end.
    std::vector<Bytes> entries(15, scanEntry(address));
    entries.back() = put(scanEntry(address), 8, {255, 255, 255, 255, 255, 255});
    const Bytes reply = replyOf(0, pageData(1, 15, 0, 15, entries));
    std::fill(ble_msg_buffer + reply.size(), ble_msg_buffer + BLE_MSG_SIZE, std::uint8_t{'z'});
    peer_.reply(reply);
    EXPECT_EQ(0, call(ble_scan_list, ""));
    const std::string plain = "{\"address\":\"a1b2c3d4e5f6\",\"address_type\":0,\"rssi\":0,\"name\":\"\"},";
    std::string expected = "\n{\"list_id\":1,\"total\":15,\"index\":0,\"index_count\":15,\"device_array\":[";
    for (int i = 0; i < 14; ++i) {
        expected += plain;
    }
    expected += "{\"address\":\"a1b2c3d4e5f6\",\"address_type\":0,\"rssi\":0,\"name\":\"" + std::string(93, 'z') +
                "\",\"profile_uuid16\":[\"7a7a\"";
    for (int i = 1; i < 46; ++i) {
        expected += ",\"7a7a\"";
    }
    expected += "],\"profile_uuid128\":[\"7a7a7a7a7a7a7a7a7a7a7a7a7a7a7a7a\"";
    for (int i = 1; i < 5; ++i) {
        expected += ",\"7a7a7a7a7a7a7a7a7a7a7a7a7a7a7a7a\"";
    }
    EXPECT_EQ(expected + "]}]\n}\n", response());
    EXPECT_THAT(logged(),
                ElementsAre("Invalid UUID16_Len 255  on a1b2c3d4e5f6", "Invalid UUID_128bit_Len 255 on a1b2c3d4e5f6"));
}

TEST_F(ScanList, NotANumber) {
    EXPECT_EQ(-3, call(ble_scan_list, "p=first"));
    EXPECT_THAT(logged(), ElementsAre("Error parsing p parameter [first]"));
    EXPECT_THAT(sent(), IsEmpty());
    EXPECT_EQ("untouched", response());
}

TEST_F(ScanList, FailedAcquisitionLeavesTheBufferAlone) {
    peer_.reply(replyOf(0, pageData(5, 2, 0, 1, {scanEntry({1, 0, 0, 0, 0, 0})})));
    peer_.reply(replyOf(1));
    EXPECT_EQ(-1, call(ble_scan_list, ""));
    EXPECT_EQ("untouched", response());
    EXPECT_THAT(logged(), ElementsAre("Failed to get proper response for scan results: -1"));
}

TEST_F(ScanList, DocumentLongerThanTheBuffer) {
    peer_.reply(replyOf(0, pageData(1, 15, 0, 15, std::vector<Bytes>(15, put(fullEntry(), 10, {18, 64, 14, 68})))));
    EXPECT_EQ(-1, call(ble_scan_list, ""));
    EXPECT_EQ("untouched", response());
    EXPECT_THAT(logged(), ElementsAre("Not enough room in buffer for response\n"));
}

TEST_F(ScanList, DocumentOf4095CharactersIsTheLongest) {
    const LongList fitting = longList(4095);
    ASSERT_EQ(4095U, fitting.document.size());
    peer_.replyWith(ListDaemon{1, 15, fitting.entries});
    EXPECT_EQ(0, call(ble_scan_list, ""));
    EXPECT_EQ(fitting.document, response());
    EXPECT_THAT(logged(), IsEmpty());

    const LongList tooLong = longList(4096);
    ASSERT_EQ(4096U, tooLong.document.size());
    peer_.replyWith(ListDaemon{1, 15, tooLong.entries});
    EXPECT_EQ(-1, call(ble_scan_list, ""));
    EXPECT_EQ("untouched", response());
    EXPECT_THAT(logged(), ElementsAre("Not enough room in buffer for response\n"));
}

TEST_F(ScanList, DocumentNeedsRoomForItsZero) {
    const Bytes reply = {3, 0, 0, 0};
    peer_.reply(replyOf(0, reply));
    EXPECT_EQ(0, callWithRoom(ble_scan_list, "", 71));
    EXPECT_EQ(70U, response().size());
    peer_.reply(replyOf(0, reply));
    EXPECT_EQ(-1, callWithRoom(ble_scan_list, "", 70));
    EXPECT_EQ("untouched", response());
    EXPECT_THAT(logged(), ElementsAre("Not enough room in buffer for response\n"));
}

TEST_F(ScanList, WithoutABuffer) {
    peer_.reply(replyOf(0, pageData(1, 15, 0, 15, std::vector<Bytes>(15, fullEntry()))));
    EXPECT_EQ(0, callWithoutBuffer(ble_scan_list, ""));
    EXPECT_EQ("untouched", response());
    EXPECT_THAT(logged(), IsEmpty());
}
