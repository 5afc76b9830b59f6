#include "eventLoop.h"

#include <csignal>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <vector>

namespace zvcamera {
namespace {

using std::chrono::milliseconds;

TEST(EventLoop, TimersRunInTheOrderOfTheirTimes) {
    EventLoop loop;
    std::string order;
    loop.addTimer(milliseconds(20), [&] {
        order += "b";
        loop.stop();
    });
    loop.addTimer(milliseconds(5), [&] { order += "a"; });
    const EventLoop::TimerId cancelled = loop.addTimer(milliseconds(10), [&] { order += "x"; });
    loop.cancelTimer(cancelled);
    loop.cancelTimer(cancelled);
    loop.run();
    EXPECT_EQ("ab", order);
}

TEST(EventLoop, ATimerThatSetsItselfAgainLeavesRoomForDescriptors) {
    EventLoop loop;
    int pair[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, pair));
    const zv::UniqueFd a(pair[0]);
    const zv::UniqueFd b(pair[1]);
    std::function<void()> again = [&] { loop.addTimer(milliseconds(0), again); };
    again();
    loop.addFd(a.get(), POLLIN, [&](short) { loop.stop(); });
    ASSERT_EQ(1, send(b.get(), "x", 1, 0));
    loop.run();
}

TEST(EventLoop, ACallbackMayRemoveItselfAndOthers) {
    EventLoop loop;
    int first[2];
    int second[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, first));
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, second));
    const zv::UniqueFd owned[] = {zv::UniqueFd(first[0]), zv::UniqueFd(first[1]), zv::UniqueFd(second[0]),
                                  zv::UniqueFd(second[1])};
    int calls = 0;
    const auto removeBoth = [&](short) {
        ++calls;
        loop.removeFd(first[0]);
        loop.removeFd(second[0]);
    };
    loop.addFd(first[0], POLLIN, removeBoth);
    loop.addFd(second[0], POLLIN, removeBoth);
    ASSERT_EQ(1, send(first[1], "x", 1, 0));
    ASSERT_EQ(1, send(second[1], "x", 1, 0));
    loop.runOnce(milliseconds(1000));
    loop.runOnce(milliseconds(1));
    EXPECT_EQ(1, calls);
}

TEST(EventLoop, EndsOnASignalAndGivesTheSignalMaskBack) {
    for (const int number : {SIGTERM, SIGINT}) {
        sigset_t before;
        pthread_sigmask(SIG_SETMASK, nullptr, &before);
        {
            EventLoop loop;
            raise(number);
            loop.run();
        }
        sigset_t after;
        pthread_sigmask(SIG_SETMASK, nullptr, &after);
        EXPECT_EQ(sigismember(&before, number), sigismember(&after, number));
    }
}

} // namespace
} // namespace zvcamera
