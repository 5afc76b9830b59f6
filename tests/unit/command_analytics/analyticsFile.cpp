#include "analyticsFile.h"

#include "wrappedWrite.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using zvtest::wrappedWrite;

constexpr const char* path = "/tmp/analytics.bin";

// Whether the next calls of fdopen and ftello fail.
bool streamFails = false;
bool placeFails = false;

std::string pattern(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t index = 0; index < size; ++index) {
        bytes[index] = static_cast<char>(index * 31 + index / 256);
    }
    return bytes;
}

void writeFile(const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
    zvtest::wrappedWrite().sizes.clear(); // linked statically, the stream's own calls are counted too
}

// A source that hands out its bytes and fails at failAt; a destination that keeps the blocks.
struct Source {
    std::string bytes;
    std::size_t failAt = std::string::npos;
    std::size_t at = 0;
};

ssize_t readSource(void* cookie, char* block, std::size_t size) {
    auto& source = *static_cast<Source*>(cookie);
    if (source.at >= source.failAt) {
        errno = EIO;
        return -1;
    }
    const std::size_t length = std::min({size, source.bytes.size() - source.at, source.failAt - source.at});
    source.bytes.copy(block, length, source.at);
    source.at += length;
    return static_cast<ssize_t>(length);
}

struct Destination {
    std::vector<std::string> blocks;
    bool refuses = false;
};

ssize_t writeDestination(void* cookie, const char* block, std::size_t size) {
    auto& destination = *static_cast<Destination*>(cookie);
    destination.blocks.emplace_back(block, size);
    return destination.refuses ? 0 : static_cast<ssize_t>(size);
}

struct Streams {
    Source source;
    Destination destination;
    std::FILE* in = fopencookie(&source, "rb", {readSource, nullptr, nullptr, nullptr});
    std::FILE* out = fopencookie(&destination, "wb", {nullptr, writeDestination, nullptr, nullptr});

    Streams() { std::setvbuf(out, nullptr, _IONBF, 0); }
    ~Streams() {
        std::fclose(in);
        std::fclose(out);
    }
    std::vector<std::size_t> sizes() const {
        std::vector<std::size_t> all;
        for (const std::string& block : destination.blocks) {
            all.push_back(block.size());
        }
        return all;
    }
    std::string copied() const {
        std::string all;
        for (const std::string& block : destination.blocks) {
            all += block;
        }
        return all;
    }
};

} // namespace

// With file offsets of 64 bits, the second one bears the other name.
extern "C" {
std::FILE* __real_fdopen(int descriptor, const char* mode);
off_t __real_ftello64(std::FILE* file);

std::FILE* __wrap_fdopen(int descriptor, const char* mode) {
    return streamFails ? nullptr : __real_fdopen(descriptor, mode);
}

off_t __wrap_ftello64(std::FILE* file) {
    return placeFails ? -1 : __real_ftello64(file);
}
}

namespace {

TEST(AnalyticsOpen, WithoutAStreamTheDescriptorIsClosedAgain) {
    writeFile("abc");
    const int before = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(before);
    streamFails = true;
    EXPECT_EQ(nullptr, openAnalytics(path));
    streamFails = false;
    const int after = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(after);
    EXPECT_EQ(after, before); // the lowest one that is free
}

// A program that was started without standard input has the file there.
TEST(AnalyticsOpen, Descriptor0IsAFileLikeAnyOther) {
    writeFile("abc");
    const int input = dup(STDIN_FILENO);
    close(STDIN_FILENO);
    std::FILE* const file = openAnalytics(path);
    ASSERT_NE(nullptr, file);
    EXPECT_EQ(0, fileno(file));
    std::fclose(file);
    dup2(input, STDIN_FILENO);
    close(input);
}

// This one can be sought in: only that it is a directory tells.
TEST(AnalyticsSeek, ADirectoryThatCanBeSoughtInHasNoSize) {
    std::FILE* const file = openAnalytics("/proc");
    ASSERT_NE(nullptr, file);
    EXPECT_EQ(0, fseeko(file, 0, SEEK_END));
    EXPECT_LE(0, ftello(file));
    std::int32_t size = 77;
    EXPECT_EQ(-1, seekAnalyticsEnd(file, size));
    EXPECT_EQ(77, size);
    std::fclose(file);
}

TEST(AnalyticsSeek, WithoutAPlaceThereIsNoSize) {
    writeFile("abc");
    std::FILE* const file = openAnalytics(path);
    ASSERT_NE(nullptr, file);
    std::int32_t size = 77;
    placeFails = true;
    EXPECT_EQ(-1, seekAnalyticsEnd(file, size));
    placeFails = false;
    EXPECT_EQ(77, size);
    EXPECT_EQ(0, seekAnalyticsEnd(file, size));
    EXPECT_EQ(3, size);
    std::fclose(file);
}

TEST(AnalyticsSeek, AStreamWithoutADescriptorIsNoDirectory) {
    char bytes[] = "abcd";
    std::FILE* const file = fmemopen(bytes, 4, "rb");
    ASSERT_NE(nullptr, file);
    std::int32_t size = 77;
    EXPECT_EQ(0, seekAnalyticsEnd(file, size));
    EXPECT_EQ(4, size);
    std::fclose(file);
}

TEST(AnalyticsCopy, CopiesInBlocksOfAtMost1024BytesAndReturns0) {
    Streams streams;
    streams.source.bytes = pattern(2500);
    EXPECT_EQ(0, copyAnalytics(streams.out, streams.in));
    EXPECT_EQ(pattern(2500), streams.copied());
    EXPECT_THAT(streams.sizes(), ElementsAre(1024, 1024, 452));
}

TEST(AnalyticsCopy, CopiesNothingFromAnEmptySource) {
    Streams streams;
    EXPECT_EQ(0, copyAnalytics(streams.out, streams.in));
    EXPECT_THAT(streams.sizes(), IsEmpty());
}

TEST(AnalyticsCopy, CopiesExactlyOneBlock) {
    Streams streams;
    streams.source.bytes = pattern(1024);
    EXPECT_EQ(0, copyAnalytics(streams.out, streams.in));
    EXPECT_THAT(streams.sizes(), ElementsAre(1024));
}

TEST(AnalyticsCopy, ReturnsMinus1WhenTheSourceFailsAfterABlock) {
    Streams streams;
    streams.source.bytes = pattern(5000);
    streams.source.failAt = 1500;
    std::setvbuf(streams.in, nullptr, _IONBF, 0);
    EXPECT_EQ(-1, copyAnalytics(streams.out, streams.in));
    EXPECT_EQ(pattern(5000).substr(0, 1500), streams.copied());
    EXPECT_THAT(streams.sizes(), ElementsAre(1024, 476));
}

TEST(AnalyticsCopy, ASourceThatGivesNothingCountsAsExhausted) {
    Streams streams;
    streams.source.bytes = pattern(100);
    streams.source.failAt = 0;
    EXPECT_EQ(0, copyAnalytics(streams.out, streams.in));
    EXPECT_THAT(streams.sizes(), IsEmpty());
}

TEST(AnalyticsCopy, DoesNotLookAtWriteErrors) {
    Streams streams;
    streams.source.bytes = pattern(2048);
    streams.destination.refuses = true;
    EXPECT_EQ(0, copyAnalytics(streams.out, streams.in));
    EXPECT_EQ(2048U, streams.source.at);
}

class AnalyticsSend : public testing::Test {
protected:
    AnalyticsSend() : out_(open("/tmp/out", O_RDWR | O_CREAT | O_TRUNC, 0600)) {}
    ~AnalyticsSend() override { close(out_); }

    int send(std::int32_t limit) {
        std::FILE* const file = openAnalytics(path);
        EXPECT_NE(nullptr, file);
        const int result = sendAnalytics(out_, file, limit);
        std::fclose(file);
        return result;
    }

    std::string sent() const {
        std::string all(1 << 17, '\0');
        const ssize_t length = pread(out_, all.data(), all.size(), 0);
        return all.substr(0, static_cast<std::size_t>(length));
    }

    int out_;
};

TEST_F(AnalyticsSend, WritesEveryBlockAsItWasRead) {
    writeFile(pattern(2500));
    EXPECT_EQ(0, send(2500));
    EXPECT_EQ(pattern(2500), sent());
    EXPECT_THAT(wrappedWrite().sizes, ElementsAre(1024, 1024, 452));
}

TEST_F(AnalyticsSend, WritesTheBlocksBehindTheFirst16Together) {
    const std::string bytes = pattern(16384 + 32768 + 1024 + 7);
    writeFile(bytes);
    EXPECT_EQ(0, send(100000));
    EXPECT_EQ(bytes, sent());
    std::vector<std::size_t> sizes(16, 1024);
    sizes.insert(sizes.end(), {32768, 1031});
    EXPECT_THAT(wrappedWrite().sizes, ElementsAreArray(sizes));
}

TEST_F(AnalyticsSend, WritesWhatWasGatheredWhenTheSourceFails) {
    Streams streams;
    streams.source.bytes = pattern(40000);
    streams.source.failAt = 16384 + 1500;
    std::setvbuf(streams.in, nullptr, _IONBF, 0);
    EXPECT_EQ(-1, sendAnalytics(out_, streams.in, 40000));
    EXPECT_EQ(pattern(40000).substr(0, 16384 + 1500), sent());
    EXPECT_EQ(1500U, wrappedWrite().sizes.back());
}

TEST_F(AnalyticsSend, EverySizeAroundTheLimitsArrivesWhole) {
    for (const std::size_t limit : {1024U, 16384U, 16384U + 1024U, 16384U + 32768U, 16384U + 65536U}) {
        for (const std::size_t size : {limit - 1, limit, limit + 1}) {
            ASSERT_EQ(0, ftruncate(out_, 0));
            ASSERT_EQ(0, lseek(out_, 0, SEEK_SET));
            const std::string bytes = pattern(size);
            writeFile(bytes);
            EXPECT_EQ(0, send(static_cast<std::int32_t>(size)));
            EXPECT_EQ(bytes, sent()) << size;
        }
    }
}

TEST_F(AnalyticsSend, StopsAtTheLimitWhenTheFileHasGrown) {
    writeFile(pattern(2500));
    EXPECT_EQ(0, send(1500));
    EXPECT_EQ(pattern(2500).substr(0, 1500), sent());
    EXPECT_THAT(wrappedWrite().sizes, ElementsAre(1024, 476));
}

TEST_F(AnalyticsSend, StopsAtTheEndWhenTheFileHasShrunk) {
    writeFile(pattern(1100));
    EXPECT_EQ(0, send(5000));
    EXPECT_EQ(pattern(1100), sent());
    EXPECT_THAT(wrappedWrite().sizes, ElementsAre(1024, 76));
}

TEST_F(AnalyticsSend, SendsNothingWithinALimitOf0) {
    writeFile(pattern(10));
    EXPECT_EQ(0, send(0));
    EXPECT_THAT(wrappedWrite().sizes, IsEmpty());
}

TEST_F(AnalyticsSend, CompletesABlockThatWasWrittenInParts) {
    writeFile(pattern(1500));
    wrappedWrite().script = {{1000, 0}, {0, EINTR}};
    EXPECT_EQ(0, send(1500));
    EXPECT_EQ(pattern(1500), sent());
    EXPECT_THAT(wrappedWrite().sizes, ElementsAre(1024, 24, 24, 476));
}

TEST_F(AnalyticsSend, GoesOnAfterAWriteError) {
    writeFile(pattern(2500));
    wrappedWrite().script = {{0, EIO}};
    EXPECT_EQ(0, send(2500));
    EXPECT_EQ(pattern(2500).substr(1024), sent());
}

TEST_F(AnalyticsSend, ReturnsMinus1WhenTheSourceFailsAfterABlock) {
    Streams streams;
    streams.source.bytes = pattern(5000);
    streams.source.failAt = 1500;
    std::setvbuf(streams.in, nullptr, _IONBF, 0);
    EXPECT_EQ(-1, sendAnalytics(out_, streams.in, 5000));
    EXPECT_EQ(pattern(5000).substr(0, 1500), sent());
    EXPECT_THAT(wrappedWrite().sizes, ElementsAre(1024, 476));
}

int seekEnd(const char* file, std::int32_t& size) {
    std::FILE* const stream = openAnalytics(file);
    EXPECT_NE(nullptr, stream);
    const int result = seekAnalyticsEnd(stream, size);
    std::fclose(stream);
    return result;
}

TEST(AnalyticsOpen, FindsNoFile) {
    EXPECT_EQ(nullptr, openAnalytics("/tmp/absent"));
    EXPECT_EQ(nullptr, openAnalytics(""));
}

TEST(AnalyticsSeek, TellsTheSizeAndGoesBackToTheStart) {
    writeFile("0123456789");
    std::FILE* const file = openAnalytics(path);
    std::int32_t size = -1;
    EXPECT_EQ(0, seekAnalyticsEnd(file, size));
    EXPECT_EQ(10, size);
    EXPECT_EQ(EOF, std::fgetc(file));
    EXPECT_EQ(0, seekAnalyticsStart(file));
    EXPECT_EQ('0', std::fgetc(file));
    std::fclose(file);
}

TEST(AnalyticsSeek, FailsForAPipeWithoutWaitingForAWriter) {
    ASSERT_EQ(0, mkfifo("/tmp/pipe", 0600));
    std::int32_t size = -5;
    EXPECT_EQ(-1, seekEnd("/tmp/pipe", size));
    EXPECT_EQ(-5, size);
}

TEST(AnalyticsSeek, FailsForADirectory) {
    std::int32_t size = -5;
    EXPECT_EQ(-1, seekEnd("/tmp", size));
    EXPECT_EQ(-1, seekEnd("/usr", size));
    EXPECT_EQ(-5, size);
}

TEST(AnalyticsSeek, NamesSizesUpToTheLastOf32Bits) {
    writeFile("");
    ASSERT_EQ(0, truncate(path, 0x7FFFFFFF));
    std::int32_t size = 0;
    EXPECT_EQ(0, seekEnd(path, size));
    EXPECT_EQ(2147483647, size);
}

TEST(AnalyticsSeek, FailsForFilesOf2GibibytesAndMore) {
    writeFile("");
    ASSERT_EQ(0, truncate(path, off_t{1} << 31));
    std::int32_t size = -5;
    EXPECT_EQ(-1, seekEnd(path, size));
    ASSERT_EQ(0, truncate(path, (off_t{1} << 32) + 5));
    EXPECT_EQ(-1, seekEnd(path, size));
    EXPECT_EQ(-5, size);
}

} // namespace
