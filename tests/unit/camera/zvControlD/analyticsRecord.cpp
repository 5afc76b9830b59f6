#include "analyticsRecord.h"

#include <gtest/gtest.h>
#include <utility>

namespace zvcamera {
namespace {

using Bytes = std::vector<unsigned char>;

TEST(AnalyticsRecords, ByteForByte) {
    AnalyticsRecords records;
    const Bytes battery = records.next(0x0102030405060708);
    ASSERT_EQ(20U, battery.size());
    EXPECT_EQ((Bytes{'Z', 'A', 1, 4, 0, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8}),
              Bytes(battery.begin(), battery.begin() + 16));
    EXPECT_GE(battery[16], 86);
    EXPECT_LE(battery[16], 88);
    EXPECT_EQ(0, battery[17]);
    EXPECT_EQ(3300 + battery[16] * 9, battery[18] << 8 | battery[19]);
    for (const auto& [kind, length] : {std::pair{2, 8}, {3, 4}, {4, 8}, {1, 4}}) {
        const Bytes record = records.next(0);
        EXPECT_EQ(kind, record[2]);
        EXPECT_EQ(length, record[3]);
        EXPECT_EQ(16U + static_cast<std::size_t>(length), record.size());
    }
}

TEST(AnalyticsRecords, TheBytesSentStartAgainAtZeroBeyondFourBytes) {
    AnalyticsRecords records;
    std::uint32_t sent = 0;
    bool wrapped = false;
    for (int i = 0; i < 2000000 && !wrapped; ++i) {
        const Bytes record = records.next(0);
        if (record[2] != 2) {
            continue;
        }
        const auto signal = static_cast<signed char>(record[17]);
        const std::uint32_t now =
            static_cast<std::uint32_t>(record[20]) << 24 | record[21] << 16 | record[22] << 8 | record[23];
        ASSERT_EQ(sent + 1500U * static_cast<std::uint32_t>(signal + 100), now);
        wrapped = now < sent;
        sent = now;
    }
    EXPECT_TRUE(wrapped);
}

} // namespace
} // namespace zvcamera
