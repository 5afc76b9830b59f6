#include "zvTlv.h"

#include "child.h"
#include "reports.h"
#include "tlvOracle.h"
#include "tlvSample.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>

using namespace zvtest;

namespace {

Bytes bytesOf(const std::uint8_t* from, std::size_t count) {
    return Bytes(from, from + count);
}

} // namespace

TEST(ZvTlv, FreshMessageIsFourBytes) {
    std::uint8_t buffer[5] = {9, 9, 9, 9, 9};
    EXPECT_EQ(4, sntlv_msg_init(buffer, 0, 7));
    EXPECT_EQ((Bytes{0, 4, 0, 7, 9}), bytesOf(buffer, 5));
    EXPECT_EQ(4, sntlv_msg_len(buffer));
}

TEST(ZvTlv, LengthIsReadAsSigned16Bits) {
    const std::uint8_t most[] = {0x7f, 0xff, 0, 0};
    const std::uint8_t least[] = {0x80, 0x00, 0, 0};
    const std::uint8_t minusOne[] = {0xff, 0xff, 0, 0};
    EXPECT_EQ(32767, sntlv_msg_len(most));
    EXPECT_EQ(-32768, sntlv_msg_len(least));
    EXPECT_EQ(-1, sntlv_msg_len(minusOne));
}

TEST(ZvTlv, AppendedElementFollowsInBigEndianOrder) {
    std::uint8_t buffer[32];
    sntlv_msg_init(buffer, 32, 2);
    EXPECT_EQ(6, sntlv_add_bin(buffer, 28, 65, 2, "\x12\x34"));
    EXPECT_EQ((Bytes{0, 10, 0, 2, 0, 0, 2, 65, 0x12, 0x34}), bytesOf(buffer, 10));
    EXPECT_EQ(4, sntlv_add_dat(buffer, 28, 238, 0));
    EXPECT_EQ((Bytes{0, 14, 0, 2, 0, 0, 2, 65, 0x12, 0x34, 0, 0, 0, 238}), bytesOf(buffer, 14));
}

TEST(ZvTlv, LongElementUsesBothLengthBytes) {
    Bytes buffer(2000, 0xAA);
    const Bytes data(300, 0x55);
    sntlv_msg_init(buffer.data(), 1996, 2);
    EXPECT_EQ(304, sntlv_add_bin(buffer.data(), 1996, 66, 300, data.data()));
    EXPECT_EQ((Bytes{0x01, 0x34, 0, 2, 0, 0x01, 0x2C, 66, 0x55}), bytesOf(buffer.data(), 9));
    EXPECT_EQ(0x55, buffer[307]);
    EXPECT_EQ(0xAA, buffer[308]);
}

TEST(ZvTlv, AppendedElementMayEndFourBytesBehindTheCapacity) {
    // Total 4 and 6 bytes of data against capacity 10: fits, ends at 14.
    GuardedBuffer memory(14);
    std::uint8_t* const buffer = memory.data();
    sntlv_msg_init(buffer, 10, 1);
    EXPECT_EQ(10, sntlv_add_bin(buffer, 10, 66, 6, "abcdef"));
    EXPECT_EQ((Bytes{0, 14, 0, 1, 0, 0, 6, 66, 'a', 'b', 'c', 'd', 'e', 'f'}), bytesOf(buffer, 14));
}

TEST(ZvTlv, ElementThatDoesNotFitLeavesTheMessageUnchanged) {
    std::uint8_t buffer[16];
    std::memset(buffer, 0xCC, sizeof buffer);
    sntlv_msg_init(buffer, 10, 1);
    EXPECT_EQ(0, sntlv_add_bin(buffer, 10, 66, 7, "abcdefg"));
    EXPECT_EQ(0, sntlv_add_dat(buffer, 10, 66, 7, 1, 2));
    EXPECT_EQ((Bytes{0, 4, 0, 1, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC}), bytesOf(buffer, 9));
    // Not even the end marker fits when the message has grown behind the capacity.
    EXPECT_EQ(10, sntlv_add_bin(buffer, 10, 66, 6, "abcdef"));
    EXPECT_EQ(0, sntlv_add_dat(buffer, 10, 238, 0));
    EXPECT_EQ(14, sntlv_msg_len(buffer));
}

TEST(ZvTlv, HugeLengthsDoNotWrapIntoFitting) {
    std::uint8_t buffer[16];
    sntlv_msg_init(buffer, 12, 1);
    for (const std::uint32_t length : {0xFFFFFFFFU, 0xFFFFFFFCU, 0xFFFFFFF8U, 0x80000000U, 0x10000U}) {
        EXPECT_EQ(0, sntlv_add_bin(buffer, 12, 66, length, "x")) << length;
        EXPECT_EQ(0, sntlv_add_dat(buffer, 12, 66, length, 1)) << length;
    }
    EXPECT_EQ(4, sntlv_msg_len(buffer));
}

TEST(ZvTlv, TotalBehindTheCapacityTakesNothing) {
    std::uint8_t near[20] = {};
    for (std::uint8_t total = 13; total <= 20; ++total) { // from 17 on, 32 bits would wrap into fitting
        near[1] = total;
        EXPECT_EQ(0, sntlv_add_bin(near, 12, 66, 0, nullptr)) << int(total);
        EXPECT_EQ(0, sntlv_add_dat(near, 12, 238, 0)) << int(total);
        EXPECT_EQ(total, near[1]);
    }
    std::uint8_t buffer[16] = {0x7f, 0xff, 0, 1};
    EXPECT_EQ(0, sntlv_add_bin(buffer, 12, 66, 0, nullptr));
    buffer[0] = 0xff;
    EXPECT_EQ(0, sntlv_add_bin(buffer, 12, 66, 0, nullptr));
}

TEST(ZvTlv, TotalShorterThanTheHeaderStaysInsideTheBuffer) {
    for (std::uint8_t total = 0; total < 4; ++total) {
        GuardedBuffer memory(12);
        std::uint8_t* const buffer = memory.data();
        buffer[1] = total;
        EXPECT_EQ(0, sntlv_add_bin(buffer, 8, 66, 9, "123456789"));
        EXPECT_EQ(8, sntlv_add_bin(buffer, 8, 66, 4, "1234"));
    }
}

TEST(ZvTlv, SizesAndTotalsAreCutTo16Bits) {
    Bytes buffer(70010, 0);
    const Bytes data(65536, 1);
    sntlv_msg_init(buffer.data(), 70000, 1);
    // 40004 as a signed 16-bit number.
    EXPECT_EQ(-25532, sntlv_add_bin(buffer.data(), 70000, 66, 40000, data.data()));
    EXPECT_EQ((Bytes{0x9C, 0x48, 0, 1, 0, 0x9C, 0x40, 66}), bytesOf(buffer.data(), 8));
    EXPECT_EQ(-25528, sntlv_msg_len(buffer.data()));
    // 40008 + 26004 = 66012, 476 in 16 bits.
    EXPECT_EQ(26004, sntlv_add_bin(buffer.data(), 70000, 66, 26000, data.data()));
    EXPECT_EQ(476, sntlv_msg_len(buffer.data()));
    sntlv_msg_init(buffer.data(), 70000, 1);
    EXPECT_EQ(4, sntlv_add_bin(buffer.data(), 70000, 66, 65536, data.data()));
    EXPECT_EQ((Bytes{0, 8, 0, 1, 0, 0, 0, 66, 1}), bytesOf(buffer.data(), 9));
}

TEST(ZvTlv, ElementWhoseSizeIsCutToZeroLeavesTheTotalAsItWas) {
    constexpr std::uint32_t length = 0xFFFC; // with its header 0x10000 bytes
    Bytes buffer(70010, 0xAA);
    const Bytes data(length, 0x55);
    sntlv_msg_init(buffer.data(), 70000, 1);
    EXPECT_EQ(0, sntlv_add_bin(buffer.data(), 70000, 66, length, data.data()));
    EXPECT_EQ((Bytes{0, 4, 0, 1, 0, 0xFF, 0xFC, 66, 0x55}), bytesOf(buffer.data(), 9));
    EXPECT_EQ(0x55, buffer[8 + length - 1]);
    EXPECT_EQ(0xAA, buffer[8 + length]);
    EXPECT_EQ(nullptr, tlv_find(buffer.data(), 66));
}

TEST(ZvTlv, ValuesAreTakenInTheirOrderInMemory) {
    std::uint8_t buffer[64];
    sntlv_msg_init(buffer, 60, 1);
    EXPECT_EQ(6, sntlv_add_dat(buffer, 60, 65, 2, 0x1234));
    EXPECT_EQ(8, sntlv_add_dat(buffer, 60, 66, 4, 0x11223344));
    EXPECT_EQ(5, sntlv_add_dat(buffer, 60, 67, 1, 0x7F));
    EXPECT_EQ(10, sntlv_add_dat(buffer, 60, 69, 6, 0x01020304, 0x0506));
    const Bytes data = bytesOf(buffer + 4, 29);
    if constexpr (std::endian::native == std::endian::little) {
        EXPECT_EQ((Bytes{0, 0, 2,  65,   0x34, 0x12, 0, 0,  4,    66,   0x44, 0x33, 0x22, 0x11, 0,
                         0, 1, 67, 0x7F, 0,    0,    6, 69, 0x04, 0x03, 0x02, 0x01, 0x06, 0x05}),
                  data);
    }
}

TEST(ZvTlv, FindGivesTheFirstElementWithTheTag) {
    std::uint8_t buffer[64];
    sntlv_msg_init(buffer, 60, 1);
    sntlv_add_bin(buffer, 60, 65, 1, "a");
    sntlv_add_bin(buffer, 60, 66, 1, "b");
    sntlv_add_bin(buffer, 60, 66, 1, "c");
    EXPECT_EQ(buffer + 4, tlv_find(buffer, 65));
    EXPECT_EQ(buffer + 9, tlv_find(buffer, 66));
    EXPECT_EQ(nullptr, tlv_find(buffer, 67));
}

TEST(ZvTlv, FindInAnEmptyMessageGivesNull) {
    std::uint8_t buffer[8] = {0, 4, 0, 65, 0, 0, 0, 65};
    EXPECT_EQ(nullptr, tlv_find(buffer, 65));
}

TEST(ZvTlv, FindCopyNeedsMoreRoomThanTheData) {
    auto message = sample;
    char exact[3] = {'-', '-', '-'};
    EXPECT_EQ(0, sntlv_find(exact, 3, 66, message.data()));
    EXPECT_EQ('-', exact[0]);
    char roomy[4] = {'-', '-', '-', '-'};
    EXPECT_EQ(3, sntlv_find(roomy, 4, 66, message.data()));
    EXPECT_EQ(0, std::memcmp("xyz-", roomy, 4)); // no terminating zero
    EXPECT_EQ(0, sntlv_find(roomy, 4, 67, message.data()));
    EXPECT_EQ(0, sntlv_find(roomy, 0, 238, message.data()));
}

TEST(ZvTlv, FindCopyOfAnEmptyElementNeedsNoDestination) {
    auto message = sample;
    EXPECT_EQ(0, sntlv_find(nullptr, 1, 238, message.data()));
    EXPECT_EQ(0, sntlv_find(nullptr, 0, 238, message.data()));
    char untouched = '-';
    EXPECT_EQ(0, sntlv_find(&untouched, 1, 238, message.data()));
    EXPECT_EQ('-', untouched);
}

TEST(ZvTlv, BlankedElementKeepsItsPlace) {
    auto message = sample;
    sntlv_void(message.data(), 65);
    EXPECT_EQ((Bytes{0, 21, 0, 1, 'W', 0, 2, 65, 0, 0, 0, 0, 3, 66, 'x', 'y', 'z', 0, 0, 0, 238}),
              Bytes(message.begin(), message.end()));
    EXPECT_EQ(0, tlv_validate(message.data()));
    EXPECT_EQ(message.data() + 4, tlv_find(message.data(), 65));
}

TEST(ZvTlv, RemovingTheLastElementAllowsAppending) {
    std::uint8_t message[64];
    std::memcpy(message, sample.data(), sample.size());
    EXPECT_EQ(-4, sntlv_remove(message, 60, 238));
    EXPECT_EQ(17, sntlv_msg_len(message));
    EXPECT_EQ(5, sntlv_add_bin(message, 60, 69, 1, "r"));
    EXPECT_EQ(4, sntlv_add_dat(message, 60, 238, 0));
    EXPECT_EQ(0, tlv_validate(message));
}

TEST(ZvTlv, RemovingAMiddleElementCutsOffTheTailAndMovesNothing) {
    auto message = sample;
    EXPECT_EQ(-6, sntlv_remove(message.data(), 0, 65));
    EXPECT_EQ(15, sntlv_msg_len(message.data()));
    EXPECT_TRUE(std::equal(sample.begin() + 2, sample.end(), message.begin() + 2));
}

TEST(ZvTlv, BlankingAMissingElementEndsTheProcess) {
    const Reported all = reported(8, [] {
        auto message = sample;
        sntlv_void(message.data(), 69);
    });
    EXPECT_EQ(255, all.ended.status);
    EXPECT_EQ((std::vector<std::string>{"\033[31mASSERT:libzvCommon/src/zvTlv/sntlv_void:221:tlv != NULL\n\033[0m"}),
              texts(all));
}

TEST(ZvTlv, RemovingAMissingElementEndsTheProcess) {
    const auto remove = [] {
        auto message = sample;
        sntlv_remove(message.data(), 0, 69);
    };
    const Reported all = reported(8, remove);
    EXPECT_EQ(255, all.ended.status);
    EXPECT_EQ(
        (std::vector<std::string>{"\033[31mASSERT:libzvCommon/src/zvTlv/sntlv_remove:238:tlvend != NULL\n\033[0m"}),
        texts(all));
    const Reported silent = reported(7, remove);
    EXPECT_EQ(255, silent.ended.status);
    EXPECT_TRUE(silent.lines.empty());
}

TEST(ZvTlv, NumbersAreWrittenMostSignificantByteFirst) {
    char text[8];
    std::memset(text, '-', sizeof text);
    EXPECT_EQ(2, snLoclItoI(text, sizeof text, 2, 0x1234));
    EXPECT_EQ(0, std::memcmp("\x12\x34\0-----", text, 8));
    EXPECT_EQ(4, snLoclItoI(text, sizeof text, 4, 0x89ABCDEF));
    EXPECT_EQ(0, std::memcmp("\x89\xAB\xCD\xEF\0", text, 5));
    EXPECT_EQ(1, snLoclItoI(text, sizeof text, 1, 0x1234));
    EXPECT_EQ(0, std::memcmp("\x34\0", text, 2));
    EXPECT_EQ(3, snLoclItoI(text, sizeof text, 3, 0x00010002));
    EXPECT_EQ(0, std::memcmp("\x01\x00\x02\0", text, 4));
}

TEST(ZvTlv, NumbersOfOtherWidthsAreNotWritten) {
    char text[4] = {'-', '-', '-', '-'};
    for (const int count : {5, 0, -1, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(0, snLoclItoI(text, sizeof text, count, 0x1234)) << count;
    }
    EXPECT_EQ(0, std::memcmp("----", text, 4));
}

TEST(ZvTlv, NumbersStayInsideTheirRoom) {
    const auto written = [](std::uint32_t size, int count, std::uint32_t value) {
        GuardedBuffer memory(4);
        memory.place({0xEE, 0xEE, 0xEE, 0xEE});
        std::uint8_t* const destination = memory.last(size);
        // What the formatted writes report: all characters, stored or not.
        EXPECT_EQ(count, snLoclItoI(reinterpret_cast<char*>(destination), size, count, value));
        EXPECT_EQ(Bytes(4 - size, 0xEE), bytesOf(memory.data(), 4 - size));
        return bytesOf(destination, size);
    };
    EXPECT_EQ((Bytes{}), written(0, 2, 0x1234));
    EXPECT_EQ((Bytes{0}), written(1, 2, 0x1234));
    EXPECT_EQ((Bytes{0x12, 0}), written(2, 2, 0x1234));
    EXPECT_EQ((Bytes{0x12, 0x34, 0}), written(3, 2, 0x1234));
    EXPECT_EQ((Bytes{0x12, 0x34, 0, 0xEE}), written(4, 2, 0x1234));
    EXPECT_EQ((Bytes{0x11, 0x12, 0x13, 0}), written(4, 4, 0x11121314));
    EXPECT_EQ(2, snLoclItoI(nullptr, 0, 2, 0x1234));
}

TEST(ZvTlv, BinaryCopyIsWholeOrNothing) {
    char text[4] = {'-', '-', '-', '-'};
    EXPECT_EQ(0, snLoclbin(text, 3, 4, "abcd"));
    EXPECT_EQ(0, std::memcmp("----", text, 4));
    EXPECT_EQ(3, snLoclbin(text, 3, 3, "abc"));
    EXPECT_EQ(0, std::memcmp("abc-", text, 4));
    EXPECT_EQ(0, snLoclbin(text, 4, 0, nullptr));
}
