// The assertion report, issued by a check that fails.
#include "reports.h"
#include "wrappedWrite.h"
#include "zvMbox.h"
#include "zvTlv.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <sys/mman.h>
#include <syslog.h>

using namespace zvtest;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace {

// The report byte for byte: colours, module path, function, line, condition.
constexpr const char* body = "\033[31mASSERT:libzvCommon/src/zvTlv/sntlv_void:221:tlv != NULL\n\033[0m";

void fail() {
    std::uint8_t empty[] = {0, 4, 0, 1};
    sntlv_void(empty, 66);
}

// Whether the calls below print what happens to the log file.
bool watched = false;
std::FILE* opened = nullptr;

// Whether there are no pages for a long report.
bool withoutPages = false;
// The pages that reports have got and not given back, and their sizes.
std::map<void*, std::size_t> pages;

// A report that is longer than the stack's room for it, and its text.
const std::string longName = "/" + std::string(3000, 'x');
const std::string longBody = "[   zvMbox_txopen:  76] mbox=" + longName + " errno=File name too long\n";

void reportLong() {
    zvMbox_attr mailbox;
    EXPECT_EQ(-1, zvMbox_txopen(longName.c_str(), &mailbox));
}

} // namespace

// Replace the C library's calls: the linker wraps them. With file offsets of 64 bits, the first one bears the other
// name.
extern "C" {
std::FILE* __real_fopen64(const char* path, const char* mode);
std::FILE* __wrap_fopen64(const char* path, const char* mode);
int __real_fclose(std::FILE* file);
int __wrap_fclose(std::FILE* file);
void* __real_mmap64(void* address, std::size_t size, int protection, int flags, int file, off_t offset);
void* __wrap_mmap64(void* address, std::size_t size, int protection, int flags, int file, off_t offset);
int __real_munmap(void* address, std::size_t size);
int __wrap_munmap(void* address, std::size_t size);
}

int __wrap_munmap(void* address, std::size_t size) {
    if (pages.count(address) != 0 && pages[address] == size) {
        pages.erase(address);
    }
    return __real_munmap(address, size);
}

void* __wrap_mmap64(void* address, std::size_t size, int protection, int flags, int file, off_t offset) {
    void* const found = withoutPages ? MAP_FAILED : __real_mmap64(address, size, protection, flags, file, offset);
    if (found != MAP_FAILED) {
        pages[found] = size;
    }
    return found;
}

std::FILE* __wrap_fopen64(const char* path, const char* mode) {
    std::FILE* const file = __real_fopen64(path, mode);
    if (watched && std::strcmp(path, wifiLog) == 0) {
        opened = file;
        dprintf(STDOUT_FILENO, "open %s\n", mode);
    }
    return file;
}

int __wrap_fclose(std::FILE* file) {
    if (file == opened) {
        const int flags = fcntl(fileno(file), F_GETFL);
        const bool appends = (flags & O_ACCMODE) == O_RDWR && (flags & O_APPEND) != 0;
        const bool inherited = (fcntl(fileno(file), F_GETFD) & FD_CLOEXEC) == 0;
        dprintf(STDOUT_FILENO, "close%s%s\n", appends ? " appending" : "", inherited ? " inherited" : "");
        opened = nullptr;
    }
    return __real_fclose(file);
}

TEST(AssertionReport, GoesToSyslogAtPriority7AndToStandardError) {
    const Reported all = reported(0x00281420, fail);
    EXPECT_EQ(255, all.ended.status);
    ASSERT_EQ(1U, all.lines.size());
    EXPECT_EQ(7, all.lines[0].priority);
    EXPECT_EQ(1, all.lines[0].facility);
    EXPECT_EQ(body, all.lines[0].text);
    EXPECT_THAT(all.ended.err, HasSubstr(body));
    EXPECT_EQ("", all.ended.out);
    EXPECT_EQ("(no file)", all.file);
}

TEST(AssertionReport, HasTheUsersFacilityWhateverTheProcessHasSet) {
    const Reported all = reported(8, [] {
        openlog("process", 0, LOG_LOCAL3);
        fail();
    });
    ASSERT_EQ(1U, all.lines.size());
    EXPECT_EQ(1, all.lines[0].facility);
    EXPECT_EQ(7, all.lines[0].priority);
    EXPECT_EQ(body, all.lines[0].text);
}

TEST(AssertionReport, EveryCombinationOfTheTwoOutputBits) {
    for (const std::uint32_t file : {0U, toFile}) {
        for (const std::uint32_t out : {0U, toStdout}) {
            const Reported all = reported(8 | file | out, fail);
            EXPECT_EQ(255, all.ended.status);
            EXPECT_EQ(std::vector<std::string>{body}, texts(all));
            EXPECT_THAT(all.ended.err, HasSubstr(body));
            EXPECT_EQ(out != 0 ? "@" + std::string(body) : "", withoutTimes(all.ended.out));
            EXPECT_EQ(file != 0 ? "@" + std::string(body) : "(no file)", withoutTimes(all.file));
        }
    }
}

TEST(AssertionReport, IsSilentUpToVerbosity7ButTheProcessEndsAllTheSame) {
    for (const std::uint32_t verbosity : {0U, 7U, 0xFFFFFF07U, 0xFFFFFF00U}) {
        const Reported all = reported(verbosity, fail);
        EXPECT_EQ(255, all.ended.status) << verbosity;
        EXPECT_TRUE(all.lines.empty()) << verbosity;
        EXPECT_EQ("", all.ended.out) << verbosity;
        EXPECT_EQ("", all.ended.err) << verbosity;
        EXPECT_EQ("(no file)", all.file) << verbosity;
    }
}

TEST(AssertionReport, TakesTheVerbosityAsAnUnsignedByte) {
    for (const std::uint32_t verbosity : {8U, 127U, 128U, 255U}) {
        EXPECT_EQ(std::vector<std::string>{body}, texts(reported(verbosity, fail))) << verbosity;
    }
}

TEST(AssertionReport, SkipsALogFileThatCannotBeOpened) {
    mkdir("/tmp/fuse_d", 0777);
    ASSERT_EQ(0, mkdir(wifiLog, 0777)); // a folder where the file should be
    const Reported all = reported(8 | toFile | toStdout, fail);
    EXPECT_EQ(255, all.ended.status);
    EXPECT_EQ("@" + std::string(body), withoutTimes(all.ended.out));
    EXPECT_EQ(std::vector<std::string>{body}, texts(all));
    EXPECT_THAT(all.ended.err, Not(HasSubstr("wifi_log")));
}

TEST(AssertionReport, AppendsToTheLogFile) {
    const Reported all = reported(8 | toFile, [] {
        const int file = open(wifiLog, O_WRONLY | O_CREAT, 0666);
        EXPECT_EQ(4, write(file, "old\n", 4));
        close(file);
        fail();
    });
    EXPECT_EQ("old\n@" + std::string(body), withoutTimes(all.file));
}

TEST(AssertionReport, OpensTheLogFileInModeAPlusAndClosesItAgain) {
    const Reported all = reported(8 | toFile, [] {
        watched = true;
        fail();
    });
    EXPECT_EQ("open a+\nclose appending\n", all.ended.out);
    EXPECT_EQ("@" + std::string(body), withoutTimes(all.file));
}

TEST(AssertionReport, MakesALogFileThatAllMayReadAndWriteUnderTheUmask) {
    const Reported all = reported(8 | toFile, [] {
        umask(0022);
        fail();
    });
    struct stat status {};
    ASSERT_EQ(0, stat(wifiLog, &status));
    EXPECT_EQ(0644U, status.st_mode & 07777U);
}

TEST(AssertionReport, ReachesTheLogFileWholeWhenWritingIsInterruptedOrTakesLess) {
    const Reported all = reported(8 | toFile, [] {
        wrappedWrite().script = {{0, EINTR}, {20, 0}, {0, EINTR}, {0, EINTR}, {1, 0}};
        fail();
    });
    EXPECT_EQ("@" + std::string(body), withoutTimes(all.file));
}

TEST(AssertionReport, LogFileThatTakesNoMoreIsPassedOver) {
    for (const WriteStep failing : {WriteStep{0, ENOSPC}, WriteStep{0, 0}}) {
        const Reported all = reported(8 | toFile, [failing] {
            wrappedWrite().script = {{3, 0}, failing};
            fail();
        });
        EXPECT_EQ(255, all.ended.status);
        EXPECT_EQ(3U, all.file.size());
        EXPECT_EQ(std::vector<std::string>{body}, texts(all));
    }
}

// The zone is changed to five hours east of Greenwich after the process has read the time in another one.
TEST(AssertionReport, BearsTheLocalTime) {
    const std::time_t start = std::time(nullptr);
    const Reported all = reported(8 | toFile | toStdout, [] {
        setenv("TZ", "UTC0", 1);
        tzset();
        setenv("TZ", "XYZ-5", 1);
        fail();
    });
    std::vector<std::string> expected;
    for (std::time_t then = start; then <= std::time(nullptr); ++then) {
        const std::time_t there = then + 5L * 3600;
        char stamp[32];
        std::strftime(stamp, sizeof stamp, "%b%d %H:%M:%S ", std::gmtime(&there));
        expected.push_back(stamp + std::string(body));
    }
    EXPECT_THAT(expected, testing::Contains(all.ended.out));
    EXPECT_THAT(expected, testing::Contains(all.file));
    EXPECT_EQ(std::vector<std::string>{body}, texts(all));
}

TEST(LongReport, IsWholeWhereverItGoes) {
    const Reported all = reported(16 | toFile | toStdout, reportLong);
    EXPECT_EQ(0, all.ended.status);
    EXPECT_EQ("@" + longBody, withoutTimes(all.ended.out));
    EXPECT_EQ("@" + longBody, withoutTimes(all.file));
    EXPECT_EQ(std::vector<std::string>{longBody}, texts(all));
}

TEST(LongReport, IsCutTo1023CharactersWithoutPagesForIt) {
    const Reported all = reported(16 | toFile | toStdout, [] {
        withoutPages = true;
        reportLong();
    });
    EXPECT_EQ(0, all.ended.status);
    EXPECT_EQ("@" + longBody.substr(0, 1023), withoutTimes(all.ended.out));
    EXPECT_EQ("@" + longBody.substr(0, 1023), withoutTimes(all.file));
    EXPECT_EQ(std::vector<std::string>{longBody.substr(0, 1023)}, texts(all));
}

TEST(LongReport, GivesItsPagesBack) {
    const Ended ended = inChild([] {
        g_debug_level = 16;
        reportLong();
        EXPECT_TRUE(pages.empty());
    });
    EXPECT_EQ(0, ended.status) << ended.out;
}

TEST(LongReport, LeavesNoDescriptorOpen) {
    const Ended ended = inChild([] {
        g_debug_level = 16 | toFile;
        const int before = dup(STDOUT_FILENO);
        close(before);
        reportLong();
        EXPECT_EQ(before, dup(STDOUT_FILENO));
    });
    EXPECT_EQ(0, ended.status) << ended.out;
}
