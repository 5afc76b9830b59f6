#include "writeAll.h"

#include "wrappedWrite.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <string>
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

} // namespace
