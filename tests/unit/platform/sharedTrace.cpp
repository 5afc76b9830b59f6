// The shared control library in a program that exports its logging: the program's copy writes the trace.
#include "syslogCapture.h"
#include "zvCtrlD.h"
#include "zvLog.h"

#include <gtest/gtest.h>

TEST(SharedTrace, GoesThroughTheProgramsLogging) {
    zvtest::SyslogCapture log;
    const Msg message(2);
    message.dump("quiet");
    zvUtilSetLogLevel(UTIL_LOG_TRACE);
    message.dump("quiet still");
    g_debug_level |= 0x100;
    message.dump("told");
    const auto texts = log.messages();
    ASSERT_EQ(1U, texts.size());
    EXPECT_EQ("told: message category 2, 4 bytes", texts[0]);
}
