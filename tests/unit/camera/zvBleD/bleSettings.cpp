#include "bleSettings.h"

#include <gtest/gtest.h>

namespace zvcamera {
namespace {

TEST(Device, IsInRangeBetweenItsTimesAndAgainInEveryPeriod) {
    Device one;
    one.from = 1000;
    one.to = 3000;
    EXPECT_FALSE(one.inRange(999));
    EXPECT_TRUE(one.inRange(1000));
    EXPECT_TRUE(one.inRange(2999));
    EXPECT_FALSE(one.inRange(3000));
    EXPECT_FALSE(one.inRange(6000));
    one.period = 5000;
    EXPECT_TRUE(one.inRange(6000));
    EXPECT_EQ(6000, one.inRangeSince(7500));
    EXPECT_FALSE(one.inRange(8000));
    one.presence = Presence::Present;
    EXPECT_TRUE(one.inRange(8000));
    one.presence = Presence::Away;
    EXPECT_FALSE(one.inRange(7500));
    one.presence = Presence::Scheduled;
    one.to = 0;
    EXPECT_TRUE(one.inRange(1000000));
}

} // namespace
} // namespace zvcamera
