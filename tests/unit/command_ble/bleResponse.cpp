#include "bleResponse.h"

#include "bleTest.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class WriteResponse : public testing::Test {
protected:
    WriteResponse() { g_logLevel = UTIL_LOG_INFO; }

    SyslogCapture log_;
    char buffer_[8] = "1234567";
};

} // namespace

TEST_F(WriteResponse, TextThatFitsWithItsZero) {
    EXPECT_EQ(0, writeResponse("abcdefg", buffer_, 8));
    EXPECT_STREQ("abcdefg", buffer_);
    EXPECT_THAT(linesOf(log_), IsEmpty());
}

TEST_F(WriteResponse, TextThatDoesNotFitLeavesTheBufferAlone) {
    for (const int room : {7, 1, 0, -1}) {
        EXPECT_EQ(-1, writeResponse("abcdefg", buffer_, room));
        EXPECT_STREQ("1234567", buffer_);
        EXPECT_THAT(linesOf(log_), ElementsAre("Not enough room in buffer for response\n"));
    }
}

TEST_F(WriteResponse, NullBufferDropsTheText) {
    EXPECT_EQ(0, writeResponse("abcdefg", nullptr, 0));
    EXPECT_THAT(linesOf(log_), IsEmpty());
}
