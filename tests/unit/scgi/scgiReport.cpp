#include "scgiReport.h"

#include "child.h"
#include "outputCapture.h"

#include <fcntl.h>
#include <gtest/gtest.h>

namespace {

TEST(ScgiReport, IsALineOfStandardError) {
    const zvtest::OutputCapture errors(STDERR_FILENO);
    reportScgi("something is wrong");
    EXPECT_EQ("zvControl-scgi: something is wrong\n", errors.text());
}

// Standard error as one end of a pipe; in a child, which would wait or be ended.
TEST(ScgiReport, WaitsForNoRoom) {
    int pipe[2];
    ASSERT_EQ(0, pipe2(pipe, 0));
    fcntl(pipe[1], F_SETFL, O_NONBLOCK);
    while (write(pipe[1], "x", 1) == 1) {
    }
    fcntl(pipe[1], F_SETFL, 0);
    const auto ended = zvtest::inChild([&pipe] {
        dup2(pipe[1], STDERR_FILENO);
        reportScgi("lost");
    });
    EXPECT_EQ(0, ended.status);
}

TEST(ScgiReport, IsLostWhereNobodyReads) {
    int pipe[2];
    ASSERT_EQ(0, pipe2(pipe, 0));
    close(pipe[0]);
    const auto ended = zvtest::inChild([&pipe] {
        dup2(pipe[1], STDERR_FILENO);
        reportScgi("lost");
    });
    EXPECT_EQ(0, ended.status);
}

} // namespace
