#include "command_analytics.h"

#include "fakePlatform.h"
#include "outputCapture.h"
#include "scarceMemory.h"
#include "syslogCapture.h"
#include "wrappedWrite.h"
#include "writeAnswer.h"
#include "zvLog.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool startUnreachable = false;
// Reading the file that was opened by descriptor fails behind so many bytes; -1: never.
off_t readableBytes = -1;
int openDescriptor = -1;

ssize_t readSome(void* /*cookie*/, char* block, std::size_t size) {
    const off_t left = readableBytes - lseek(openDescriptor, 0, SEEK_CUR);
    if (left <= 0) {
        errno = EIO;
        return -1;
    }
    return read(openDescriptor, block, std::min(size, static_cast<std::size_t>(left)));
}

int seekTo(void* /*cookie*/, off64_t* offset, int whence) {
    *offset = lseek64(openDescriptor, *offset, whence);
    return *offset < 0 ? -1 : 0;
}

int closeDescriptor(void* /*cookie*/) {
    return close(openDescriptor);
}

} // namespace

extern "C" std::FILE* __real_fdopen(int descriptor, const char* mode);
extern "C" std::FILE* __wrap_fdopen(int descriptor, const char* mode);

std::FILE* __wrap_fdopen(int descriptor, const char* mode) {
    if (readableBytes < 0) {
        return __real_fdopen(descriptor, mode);
    }
    openDescriptor = descriptor;
    return fopencookie(nullptr, mode, {readSome, nullptr, seekTo, closeDescriptor});
}

#define ZV_WRAP_SEEK(name)                                                                                             \
    extern "C" int __real_##name(std::FILE* file, off_t offset, int whence);                                           \
    extern "C" int __wrap_##name(std::FILE* file, off_t offset, int whence) {                                          \
        if (startUnreachable && whence == SEEK_SET) {                                                                  \
            errno = EIO;                                                                                               \
            return -1;                                                                                                 \
        }                                                                                                              \
        return __real_##name(file, offset, whence);                                                                    \
    }

ZV_WRAP_SEEK(fseeko64)

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;
using zvtest::fakePlatform;
using zvtest::wrappedWrite;

constexpr const char* path = "/tmp/fuse_d/analytics/analytics.bin";

struct Answered {
    int result;
    std::string output;
};

class CommandAnalytics : public testing::Test {
protected:
    CommandAnalytics() {
        std::filesystem::create_directories("/tmp/fuse_d/analytics");
        fakePlatform().commandAnswer = path;
        setenv("PATH_INFO", "/analytics/get", 1);
        setenv("QUERY_STRING", "q=1", 1);
    }

    void writeFile(const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }

    Answered get() {
        const zvtest::OutputCapture output(STDOUT_FILENO);
        char response[4096] = "untouched";
        const int result = handle_command_analytics("ignored=1", response, sizeof response);
        EXPECT_STREQ("untouched", response);
        return {result, output.text()};
    }

    // The same while operator new gives at most so many bytes at a time.
    Answered getWithin(std::size_t most) {
        const zvtest::OutputCapture output(STDOUT_FILENO);
        int result = 99;
        {
            const zvtest::ScarceMemory scarce(most);
            result = handle_command_analytics(nullptr, nullptr, 0);
        }
        return {result, output.text()};
    }

    // Path of 256 characters, the most that is opened, of a file whose folder exists.
    static std::string longestPath() {
        std::string folder = "/tmp";
        while (folder.size() < 200) {
            folder += "/" + std::string(19, 'd');
        }
        std::filesystem::create_directories(folder);
        return folder + "/" + std::string(256 - folder.size() - 1, 'f');
    }
};

TEST_F(CommandAnalytics, AnswersBehindWhatWasPrinted) {
    writeFile("bytes");
    const zvtest::OutputCapture output(STDOUT_FILENO);
    std::printf("report\n");
    EXPECT_EQ(-18, handle_command_analytics(nullptr, nullptr, 0));
    EXPECT_EQ("report\nContent-Length:  5 Content-Type:  application/octet-stream\r\n\r\nbytes", output.text());
}

TEST_F(CommandAnalytics, AnEmptyFileIsAHeaderWithSize0) {
    writeFile("");
    const Answered answered = get();
    EXPECT_EQ(-18, answered.result);
    EXPECT_EQ("Content-Length:  0 Content-Type:  application/octet-stream\r\n\r\n", answered.output);
}

TEST_F(CommandAnalytics, HeaderAndBytesArriveExactly) {
    writeFile(std::string("\0\r\n\xFF{}", 6));
    const Answered answered = get();
    EXPECT_EQ(-18, answered.result);
    EXPECT_EQ(std::string("Content-Length:  6 Content-Type:  application/octet-stream\r\n\r\n"
                          "\0\r\n\xFF{}",
                          68),
              answered.output);
}

TEST_F(CommandAnalytics, Sends2500BytesInBlocksOf10241024And452Bytes) {
    writeFile(std::string(2500, 'x'));
    EXPECT_EQ("Content-Length:  2500 Content-Type:  application/octet-stream\r\n\r\n" + std::string(2500, 'x'),
              get().output);
    EXPECT_THAT(wrappedWrite().sizes, ElementsAre(65, 1024, 1024, 452));
}

TEST_F(CommandAnalytics, SendsSingleBytesAndWholeBlocks) {
    writeFile("1");
    EXPECT_EQ("Content-Length:  1 Content-Type:  application/octet-stream\r\n\r\n1", get().output);
    writeFile(std::string(1024, 'y'));
    EXPECT_EQ("Content-Length:  1024 Content-Type:  application/octet-stream\r\n\r\n" + std::string(1024, 'y'),
              get().output);
}

TEST_F(CommandAnalytics, CompletesWritesThatWerePartialOrInterrupted) {
    writeFile("0123456789");
    wrappedWrite().script = {{10, 0}, {0, EINTR}, {60, 0}, {3, 0}, {0, EINTR}};
    EXPECT_EQ("Content-Length:  10 Content-Type:  application/octet-stream\r\n\r\n0123456789", get().output);
}

TEST_F(CommandAnalytics, SendsNoByteOfTheFileBehindAHeaderThatWasRefused) {
    writeFile("0123456789");
    for (const std::size_t taken : {0U, 10U}) {
        wrappedWrite().sizes.clear();
        wrappedWrite().script = {{taken, taken == 0 ? EIO : 0}};
        if (taken > 0) {
            wrappedWrite().script.push_back({0, EIO});
        }
        const Answered answered = get();
        EXPECT_EQ(-18, answered.result);
        EXPECT_EQ(std::string("Content-Length:").substr(0, taken), answered.output);
        EXPECT_EQ(EIO, takeOutputError());
    }
}

TEST_F(CommandAnalytics, RefusedBytesOfTheFileAreNoted) {
    writeFile(std::string(2000, 'x'));
    wrappedWrite().script = {{100, 0}, {0, ENOSPC}};
    const Answered answered = get();
    EXPECT_EQ(-18, answered.result);
    EXPECT_EQ("Content-Length:  2000 Content-Type:  application/octet-stream\r\n\r\n" + std::string(976, 'x'),
              answered.output);
    EXPECT_EQ(ENOSPC, takeOutputError());
}

TEST_F(CommandAnalytics, MemoryDoesNotGrowWithTheFile) {
    writeFile("");
    ASSERT_EQ(0, truncate(path, 64 << 20));
    const auto peak = [] {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        return usage.ru_maxrss;
    };
    const int null = open("/dev/null", O_WRONLY);
    const int saved = dup(STDOUT_FILENO);
    dup2(null, STDOUT_FILENO);
    const long before = peak();
    const int result = handle_command_analytics(nullptr, nullptr, 0);
    const long after = peak();
    dup2(saved, STDOUT_FILENO);
    EXPECT_EQ(-18, result);
    EXPECT_EQ(1U + 16U + 2048U, wrappedWrite().sizes.size()); // header, first blocks, 32 KiB each
    EXPECT_LT(after - before, 4096) << "kilobytes";
}

TEST_F(CommandAnalytics, AsksForTheRecordingStateIntoZeroedWordsThenForThePath) {
    writeFile("");
    get();
    EXPECT_THAT(fakePlatform().calls, ElementsAre("csi 3 4 zeroed 0 0", "command 38 null 0 buffer 257"));
}

TEST_F(CommandAnalytics, LogsThePath) {
    zvUtilSetLogLevel(UTIL_LOG_TRACE);
    zvtest::SyslogCapture log;
    get();
    EXPECT_THAT(log.texts(),
                ElementsAre(MatchesRegex("UTIL_LOG_DEBUG:Got Analytics file response "
                                         "\\[/tmp/fuse_d/analytics/analytics.bin\\] \n @command_analytics:[0-9]+")));
}

TEST_F(CommandAnalytics, LogsThePathOnlyFromDebugLevelOn) {
    zvtest::SyslogCapture log;
    g_logLevel = 3;
    get();
    EXPECT_THAT(log.texts(), IsEmpty());
    g_logLevel = 4;
    get();
    EXPECT_EQ(1U, log.texts().size());
}

TEST_F(CommandAnalytics, AnUnreadableRecordingStatePrintsNothingAndFails) {
    fakePlatform().csiResult = -5;
    const Answered answered = get();
    EXPECT_EQ(-1, answered.result);
    EXPECT_EQ("", answered.output);
    EXPECT_THAT(fakePlatform().calls, ElementsAre("csi 3 4 zeroed 0 0"));
}

TEST_F(CommandAnalytics, WhileRecordingAnswersBusyWithoutAskingTheDaemon) {
    writeFile("x");
    for (const int recording : {1, 2, -1}) {
        fakePlatform().calls.clear();
        fakePlatform().recording = recording;
        const Answered answered = get();
        EXPECT_EQ(-18, answered.result);
        EXPECT_EQ("<error /analytics/get|q=1|403|-1|busy|handle_command_analytics|57>", answered.output);
        EXPECT_THAT(fakePlatform().calls, ElementsAre("csi 3 4 zeroed 0 0"));
    }
}

TEST_F(CommandAnalytics, ReturnsTheDaemonsOwnCodeAndPrintsNothing) {
    for (const int code : {-1, -17, -100, 4}) {
        fakePlatform().commandResult = code;
        const Answered answered = get();
        EXPECT_EQ(code, answered.result);
        EXPECT_EQ("", answered.output);
    }
}

TEST_F(CommandAnalytics, AFileThatDoesNotOpenIsNoContent) {
    const Answered answered = get();
    EXPECT_EQ(-18, answered.result);
    EXPECT_EQ("<error /analytics/get|q=1|204|-1|no content|handle_command_analytics|107>", answered.output);
}

TEST_F(CommandAnalytics, AnEmptyPathIsNoContent) {
    fakePlatform().commandAnswer = "";
    EXPECT_EQ("<error /analytics/get|q=1|204|-1|no content|handle_command_analytics|107>", get().output);
}

TEST_F(CommandAnalytics, ADirectoryOrAPipeHasNoEndToSeek) {
    fakePlatform().commandAnswer = "/tmp/fuse_d";
    EXPECT_EQ("<error /analytics/get|q=1|204|-1|no content|handle_command_analytics|83>", get().output);
    ASSERT_EQ(0, mkfifo("/tmp/pipe", 0600));
    fakePlatform().commandAnswer = "/tmp/pipe";
    const Answered answered = get();
    EXPECT_EQ(-18, answered.result);
    EXPECT_EQ("<error /analytics/get|q=1|204|-1|no content|handle_command_analytics|83>", answered.output);
}

TEST_F(CommandAnalytics, AFileBeyond32BitsHasNoEndToSeek) {
    writeFile("");
    ASSERT_EQ(0, truncate(path, off_t{1} << 31));
    EXPECT_EQ("<error /analytics/get|q=1|204|-1|no content|handle_command_analytics|83>", get().output);
}

TEST_F(CommandAnalytics, AStartThatCannotBeSoughtIsNoContent) {
    writeFile("x");
    startUnreachable = true;
    const Answered answered = get();
    EXPECT_EQ(-18, answered.result);
    EXPECT_EQ("<error /analytics/get|q=1|204|-1|no content|handle_command_analytics|93>", answered.output);
}

TEST_F(CommandAnalytics, ClosesTheFileInEveryCase) {
    const auto descriptors = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
    const auto before = descriptors();
    writeFile("x");
    get();
    fakePlatform().commandAnswer = "/tmp/fuse_d";
    get();
    fakePlatform().commandAnswer = path;
    startUnreachable = true;
    get();
    EXPECT_EQ(before, descriptors());
}

TEST_F(CommandAnalytics, AnEndlessDeviceDoesNotRunForEver) {
    fakePlatform().commandAnswer = "/dev/zero";
    const auto answered = get();
    EXPECT_EQ(-18, answered.result);
    EXPECT_EQ("Content-Length:  0 Content-Type:  application/octet-stream\r\n\r\n", answered.output);
}

TEST_F(CommandAnalytics, ErrorsReadTheEnvironmentAtThatMoment) {
    unsetenv("PATH_INFO");
    unsetenv("QUERY_STRING");
    EXPECT_EQ("<error (null)|(null)|204|-1|no content|handle_command_analytics|107>", get().output);
}

TEST_F(CommandAnalytics, APathOf256CharactersIsOpenedWhole) {
    const std::string file = longestPath();
    std::ofstream(file) << "whole";
    fakePlatform().commandAnswer = file;
    EXPECT_EQ("Content-Length:  5 Content-Type:  application/octet-stream\r\n\r\nwhole", get().output);
}

TEST_F(CommandAnalytics, APathOf257CharactersIsCutTo256) {
    const std::string file = longestPath();
    std::ofstream(file) << "whole";
    fakePlatform().commandAnswer = file + "f";
    EXPECT_EQ("Content-Length:  5 Content-Type:  application/octet-stream\r\n\r\nwhole", get().output);
}

TEST_F(CommandAnalytics, APathThatFills257BytesWithoutAnEndIsCutTo256) {
    const std::string file = longestPath();
    std::ofstream(file) << "whole";
    fakePlatform().unterminated = true;
    fakePlatform().commandAnswer = file + "f";
    EXPECT_EQ("Content-Length:  5 Content-Type:  application/octet-stream\r\n\r\nwhole", get().output);
}

TEST_F(CommandAnalytics, AFileThatCannotBeReadToItsEndLeavesWhatWasReadAndTheResult) {
    writeFile(std::string(1000, 'a') + std::string(4000, 'b'));
    readableBytes = 1500;
    const Answered answered = get();
    EXPECT_EQ(-18, answered.result);
    EXPECT_EQ("Content-Length:  5000 Content-Type:  application/octet-stream\r\n\r\n" + std::string(1000, 'a') +
                  std::string(500, 'b'),
              answered.output);
}

TEST_F(CommandAnalytics, AFileThatCannotBeReadAtAllIsAHeaderWithoutBytes) {
    writeFile(std::string(5000, 'a'));
    readableBytes = 0;
    const Answered answered = get();
    EXPECT_EQ(-18, answered.result);
    EXPECT_EQ("Content-Length:  5000 Content-Type:  application/octet-stream\r\n\r\n", answered.output);
}

TEST_F(CommandAnalytics, ClearSendsItsCommandAndAnswersSuccess) {
    const zvtest::OutputCapture output(STDOUT_FILENO);
    EXPECT_EQ(0, handle_command_analytics_clear("q", nullptr, 0));
    EXPECT_EQ("", output.text());
    EXPECT_THAT(fakePlatform().calls, ElementsAre("command 39 null 0 null 0"));
}

TEST_F(CommandAnalytics, WithoutMemoryNoErrorAnswerIsPrinted) {
    const Answered absent = getWithin(1);
    EXPECT_EQ(-2, absent.result);
    EXPECT_EQ("", absent.output);
    EXPECT_THAT(fakePlatform().calls, ElementsAre("csi 3 4 zeroed 0 0", "command 38 null 0 buffer 257"));
    fakePlatform().commandAnswer = "/tmp/fuse_d"; // a directory
    const Answered endless = getWithin(1);
    EXPECT_EQ(-2, endless.result);
    EXPECT_EQ("", endless.output);
    fakePlatform().recording = 1;
    const Answered busy = getWithin(1);
    EXPECT_EQ(-2, busy.result);
    EXPECT_EQ("", busy.output);
}

TEST_F(CommandAnalytics, WithoutMemoryForAllOfAnErrorAnswerNoHalfOfItIsPrinted) {
    setenv("QUERY_STRING", std::string(4000, 'q').c_str(), 1);
    const Answered absent = getWithin(1024);
    EXPECT_EQ(-2, absent.result);
    EXPECT_EQ("", absent.output);
}

TEST_F(CommandAnalytics, ClearNeedsNoMemory) {
    int cleared = 99;
    {
        const zvtest::ScarceMemory scarce(0);
        cleared = handle_command_analytics_clear(nullptr, nullptr, 0);
    }
    EXPECT_EQ(0, cleared);
    EXPECT_THAT(fakePlatform().calls, ElementsAre("command 39 null 0 null 0"));
}

TEST_F(CommandAnalytics, ClearAnswersSuccessWhateverTheDaemonSays) {
    fakePlatform().commandResult = -17;
    char response[16] = "untouched";
    EXPECT_EQ(0, handle_command_analytics_clear(nullptr, response, sizeof response));
    EXPECT_STREQ("untouched", response);
}

} // namespace
