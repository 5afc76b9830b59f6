#include "forwarder.h"

#include "daemonProcess.h"

#include <gtest/gtest.h>

namespace {

using std::chrono::milliseconds;

TEST(Forwarder, GivesUpWhatAFullQueueHasNotTakenInTime) {
    const zvtest::TestQueue full("/to_full", 1, 100);
    ASSERT_TRUE(zvtest::sendTo("/to_full", {1}));
    zvcamera::EventLoop loop;
    std::string settled;
    zvcamera::Forwarder forwarder(
        loop, "/to_full",
        [&](const zvcamera::QueueRequest& request, zvcamera::SendResult result, std::int64_t) {
            settled += std::to_string(request.raw[0]) + zvcamera::toText(result) + ";";
        },
        milliseconds(40));
    for (const std::uint8_t first : {std::uint8_t{7}, std::uint8_t{8}}) {
        zvcamera::QueueRequest request;
        request.raw = {first};
        forwarder.forward(request);
    }
    EXPECT_EQ(2U, forwarder.backlog());
    EXPECT_EQ("", settled);
    for (int i = 0; i < 400 && forwarder.backlog() > 0; ++i) {
        loop.runOnce(milliseconds(20));
    }
    EXPECT_EQ("7queue full;8queue full;", settled);
}

} // namespace
