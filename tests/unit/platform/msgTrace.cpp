#include "syslogCapture.h"
#include "zvCtrlD.h"
#include "zvLog.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

using zvtest::SyslogCapture;

namespace {

void traceMessages() {
    zvUtilSetLogLevel(UTIL_LOG_TRACE);
    g_debug_level |= 0x100;
}

} // namespace

TEST(MsgTrace, OneLineShowsTheWholeMessage) {
    SyslogCapture log;
    traceMessages();
    unsigned char tag[] = {'B', 'L'};
    MsgElement element(65, 2, tag, true);
    MsgElement tail(238, true);
    Msg message(2);
    message.addElement(&element);
    message.addElement(&tail);
    message.dump("sent");
    message.dump(nullptr);
    const auto lines = log.take();
    ASSERT_EQ(2U, lines.size());
    EXPECT_EQ(0U,
              lines[0].text.rfind("UTIL_LOG_TRACE:sent: message category 2, 14 bytes [65:2] 424c [238:0] @zvCtrlD:", 0))
        << lines[0].text;
    EXPECT_EQ(0U, lines[1].text.rfind("UTIL_LOG_TRACE:message category 2, 14 bytes [65:2] 424c [238:0] @zvCtrlD:", 0))
        << lines[1].text;
}

TEST(MsgTrace, SilentWithoutTheSwitch) {
    SyslogCapture log;
    zvUtilSetLogLevel(UTIL_LOG_TRACE);
    const Msg message(2);
    message.dump("sent");
    g_debug_level = ~0x100U;
    message.dump("sent");
    EXPECT_TRUE(log.take().empty());
}

TEST(MsgTrace, SilentBelowTheTraceLevel) {
    SyslogCapture log;
    traceMessages();
    zvUtilSetLogLevel(UTIL_LOG_INFO);
    const Msg message(2);
    message.dump("sent");
    EXPECT_TRUE(log.take().empty());
}

TEST(MsgTrace, LongDataAreShownByTheirFirst32Bytes) {
    SyslogCapture log;
    traceMessages();
    std::vector<unsigned char> data(33, 0x5A);
    MsgElement element(66, 33, data.data(), true);
    Msg message(2);
    message.addElement(&element);
    message.dump(nullptr);
    const auto texts = log.messages();
    ASSERT_EQ(1U, texts.size());
    std::string shown;
    for (int i = 0; i < 32; ++i) {
        shown += "5a";
    }
    EXPECT_EQ("message category 2, 41 bytes [66:33] " + shown + "..", texts[0]);
}

TEST(MsgTrace, ALongMessageFillsOneLineAndKeepsItsSuffix) {
    SyslogCapture log;
    traceMessages();
    std::vector<unsigned char> data(32, 0x5A);
    MsgElement element(66, 32, data.data(), true);
    Msg message(2);
    for (int i = 0; i < 200; ++i) {
        message.addElement(&element);
    }
    message.dump(std::string(50, 't').c_str());
    const auto texts = log.messages();
    ASSERT_EQ(1U, texts.size());
    EXPECT_EQ(334U, texts[0].size());
}

TEST(MsgTrace, ATitleThatFillsTheLineIsCut) {
    SyslogCapture log;
    traceMessages();
    const Msg message(2);
    message.dump(std::string(5000, 't').c_str());
    const auto texts = log.messages();
    ASSERT_EQ(1U, texts.size());
    EXPECT_EQ(std::string(334, 't'), texts[0]);
}
