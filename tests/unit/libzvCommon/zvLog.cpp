#include "zvLog.h"

#include "SyslogCapture.h"

#include <gtest/gtest.h>

using zvtest::SyslogCapture;

TEST(zvLog, InitialValues) {
    EXPECT_EQ(2, g_logLevel);
    EXPECT_EQ(0x00281420U, g_debug_level);
    EXPECT_EQ(0x30000000U, g_debug);
    EXPECT_EQ(10, g_timedreceive);
}

TEST(zvLog, ErrorLineReachesSyslogAtPriority3) {
    SyslogCapture log;
    zvUtilKlogMsgLevel(UTIL_LOG_ERROR, 12, "f", "x\n");
    const auto lines = log.take();
    ASSERT_EQ(1U, lines.size());
    EXPECT_EQ(3, lines[0].priority);
    EXPECT_EQ(1, lines[0].facility);
    EXPECT_EQ("UTIL_LOG_ERROR:x\n @f:12", lines[0].text);
}
