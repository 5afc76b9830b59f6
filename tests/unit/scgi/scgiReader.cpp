#include "scgiReader.h"

#include "scgiClient.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/time.h>
#include <thread>

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

class ScgiReaderTest : public testing::Test {
protected:
    ScgiReaderTest() {
        int ends[2];
        EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
        here.reset(ends[0]);
        there.reset(ends[1]);
    }

    zv::UniqueFd here;
    zv::UniqueFd there;
    char room[16];
};

TEST_F(ScgiReaderTest, ReadsWhatIsThere) {
    ScgiReader reader(here.get(), 10s);
    EXPECT_EQ(5, write(there.get(), "abcde", 5));
    EXPECT_EQ(5U, reader.read(room));
    EXPECT_EQ("abcde", std::string(room, 5));
}

TEST_F(ScgiReaderTest, WaitsForMore) {
    ScgiReader reader(here.get(), 10s);
    std::thread writer([this] {
        std::this_thread::sleep_for(50ms);
        EXPECT_EQ(2, write(there.get(), "ab", 2));
    });
    EXPECT_EQ(2U, reader.read(room));
    writer.join();
}

TEST_F(ScgiReaderTest, WaitsOnWhenASignalComes) {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    const itimerval soon{{0, 20000}, {0, 20000}};
    setitimer(ITIMER_REAL, &soon, nullptr);
    const auto start = steady_clock::now();
    EXPECT_EQ(0U, ScgiReader(here.get(), 300ms).read(room));
    EXPECT_GE(steady_clock::now() - start, 300ms);
}

TEST_F(ScgiReaderTest, TellsTheEnd) {
    ScgiReader reader(here.get(), 10s);
    there.reset();
    EXPECT_EQ(0U, reader.read(room));
    EXPECT_STREQ("it ended before it was whole", reader.complaint());
}

TEST_F(ScgiReaderTest, TheTimeIsForAllOfIt) {
    const auto start = steady_clock::now();
    ScgiReader reader(here.get(), 200ms);
    int bytes = 0;
    std::thread writer([this] { // each byte comes in time
        while (send(there.get(), "x", 1, MSG_NOSIGNAL) == 1) {
            std::this_thread::sleep_for(20ms);
        }
    });
    while (reader.read({room, 1}) == 1) {
        ++bytes;
    }
    EXPECT_GE(steady_clock::now() - start, 200ms);
    here.reset();
    writer.join();
    EXPECT_STREQ("it took too long to arrive", reader.complaint());
    EXPECT_GT(bytes, 1);
}

TEST_F(ScgiReaderTest, EndsAStreamThatNeverPauses) {
    ScgiReader reader(here.get(), 100ms);
    std::thread writer([this] {
        const std::string block(65536, 'x');
        while (send(there.get(), block.data(), block.size(), MSG_NOSIGNAL) > 0) {
        }
    });
    while (reader.read(room) > 0) {
    }
    here.reset();
    writer.join();
    EXPECT_STREQ("it took too long to arrive", reader.complaint());
}

TEST_F(ScgiReaderTest, TellsABrokenConnection) {
    ScgiReader reader(-1, 10s);
    EXPECT_EQ(0U, reader.read(room));
    EXPECT_STREQ("its connection broke", reader.complaint());
}

} // namespace
