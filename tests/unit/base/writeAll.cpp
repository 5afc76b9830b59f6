#include "writeAll.h"

#include "wrappedWrite.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <string>
#include <sys/resource.h>
#include <sys/time.h>
#include <thread>
#include <unistd.h>

namespace {

using testing::ElementsAre;
using zvtest::wrappedWrite;

struct Pipe {
    int ends[2] = {-1, -1};
    Pipe() { EXPECT_EQ(0, pipe(ends)); }
    ~Pipe() {
        close(ends[0]);
        closeWriter();
    }
    void closeWriter() {
        if (ends[1] >= 0) {
            close(ends[1]);
            ends[1] = -1;
        }
    }
    std::string drain() {
        std::string all;
        char block[65536];
        for (ssize_t length = 0; (length = read(ends[0], block, sizeof block)) > 0;) {
            all.append(block, static_cast<std::size_t>(length));
        }
        return all;
    }
};

TEST(WriteAll, WritesATextInOnePiece) {
    Pipe pipe;
    EXPECT_TRUE(zv::writeAll(pipe.ends[1], "one piece"));
    pipe.closeWriter();
    EXPECT_EQ("one piece", pipe.drain());
    EXPECT_THAT(wrappedWrite().sizes, ElementsAre(9));
}

TEST(WriteAll, DoesNotWriteAnEmptyText) {
    EXPECT_TRUE(zv::writeAll(-1, ""));
    EXPECT_THAT(wrappedWrite().sizes, ElementsAre());
}

TEST(WriteAll, GoesOnWhereAPartialWriteEnded) {
    Pipe pipe;
    wrappedWrite().script = {{1, 0}, {3, 0}, {2, 0}};
    EXPECT_TRUE(zv::writeAll(pipe.ends[1], "0123456789"));
    pipe.closeWriter();
    EXPECT_EQ("0123456789", pipe.drain());
    EXPECT_THAT(wrappedWrite().sizes, ElementsAre(10, 9, 6, 4));
}

TEST(WriteAll, RepeatsAnInterruptedWrite) {
    Pipe pipe;
    wrappedWrite().script = {{0, EINTR}, {4, 0}, {0, EINTR}, {0, EINTR}};
    EXPECT_TRUE(zv::writeAll(pipe.ends[1], "0123456789"));
    pipe.closeWriter();
    EXPECT_EQ("0123456789", pipe.drain());
    EXPECT_THAT(wrappedWrite().sizes, ElementsAre(10, 10, 6, 6, 6));
}

TEST(WriteAll, StopsWhenTheDescriptorRefuses) {
    Pipe pipe;
    wrappedWrite().script = {{4, 0}, {0, EIO}};
    EXPECT_FALSE(zv::writeAll(pipe.ends[1], "0123456789"));
    pipe.closeWriter();
    EXPECT_EQ("0123", pipe.drain());
    EXPECT_THAT(wrappedWrite().sizes, ElementsAre(10, 6));
}

TEST(WriteAll, StopsWhenTheReaderHasGone) {
    std::signal(SIGPIPE, SIG_IGN);
    Pipe pipe;
    close(pipe.ends[0]);
    EXPECT_FALSE(zv::writeAll(pipe.ends[1], "0123456789"));
    EXPECT_THAT(wrappedWrite().sizes, ElementsAre(10));
}

TEST(WriteAll, StopsWhenNothingIsTaken) {
    Pipe pipe;
    wrappedWrite().script = {{0, 0}};
    EXPECT_FALSE(zv::writeAll(pipe.ends[1], "0123456789"));
    EXPECT_THAT(wrappedWrite().sizes, ElementsAre(10));
}

TEST(WriteAll, WaitsForAFullNonBlockingPipe) {
    Pipe pipe;
    ASSERT_EQ(0, fcntl(pipe.ends[1], F_SETFL, O_NONBLOCK));
    const std::string text(1 << 20, 'x');
    std::string received;
    std::thread reader([&] { received = pipe.drain(); });
    EXPECT_TRUE(zv::writeAll(pipe.ends[1], text));
    pipe.closeWriter();
    reader.join();
    EXPECT_EQ(received.size(), text.size());
    EXPECT_GT(wrappedWrite().sizes.size(), 1U);
}

// Interrupted again and again, until somebody reads.
TEST(WriteAll, WaitsOnWhenASignalInterruptsTheWaiting) {
    Pipe pipe;
    ASSERT_EQ(0, fcntl(pipe.ends[1], F_SETFL, O_NONBLOCK));
    static volatile std::sig_atomic_t signals = 0;
    struct sigaction counting {};
    counting.sa_handler = [](int) { signals = signals + 1; };
    sigset_t alarm;
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    pthread_sigmask(SIG_BLOCK, &alarm, nullptr);
    std::string received;
    std::thread reader([&] {
        while (signals < 3) {
            std::this_thread::yield();
        }
        received = pipe.drain();
    });
    pthread_sigmask(SIG_UNBLOCK, &alarm, nullptr);
    sigaction(SIGALRM, &counting, nullptr);
    const itimerval often{{0, 2000}, {0, 2000}};
    setitimer(ITIMER_REAL, &often, nullptr);
    const std::string text(1 << 20, 'x');
    const bool written = zv::writeAll(pipe.ends[1], text);
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_TRUE(written);
    pipe.closeWriter();
    reader.join();
    EXPECT_EQ(1048576U, received.size());
}

TEST(WriteAll, StopsWhenItCannotWaitForRoom) {
    Pipe pipe;
    wrappedWrite().script = {{4, 0}, {0, EAGAIN}};
    rlimit before{};
    ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &before));
    const rlimit none{0, before.rlim_max}; // poll refuses to look at any descriptor
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &none));
    const bool written = zv::writeAll(pipe.ends[1], "0123456789");
    const int error = errno;
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &before));
    EXPECT_FALSE(written);
    EXPECT_EQ(EINVAL, error);
    EXPECT_THAT(wrappedWrite().sizes, ElementsAre(10, 6));
}

} // namespace
