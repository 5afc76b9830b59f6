// The card identifier, in a private /tmp/fuse_d.
#include "reports.h"
#include "zvUtil.h"

#include <csignal>
#include <cstring>
#include <deque>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/resource.h>

using namespace zvtest;

namespace {

constexpr const char* folder = "/tmp/fuse_d/MISC";
constexpr const char* card = "/tmp/fuse_d/MISC/card";

// Numbers that the library draws next; real ones when there are none.
std::deque<int> drawn;
int draws = 0;
unsigned seed = 0;

} // namespace

// The linker leads the library's draws here (--wrap).
extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier)
int __real_rand();
int __wrap_rand() {
    ++draws;
    if (drawn.empty()) {
        return __real_rand();
    }
    const int number = drawn.front();
    drawn.pop_front();
    return number;
}
void __real_srand(unsigned value);
void __wrap_srand(unsigned value) {
    seed = value;
    __real_srand(value);
}
// NOLINTEND(bugprone-reserved-identifier)
}

namespace {

void store(const std::string& text) {
    mkdir("/tmp/fuse_d", 0777);
    mkdir(folder, 0777);
    const int file = open(card, O_WRONLY | O_CREAT | O_TRUNC, 0666);
    ASSERT_EQ(static_cast<ssize_t>(text.size()), write(file, text.data(), text.size()));
    close(file);
}

struct Result {
    int code;
    std::string id;
    std::string err;
};

// Calls getCardIDStr in this process with standard error caught. The buffer is 32 bytes, as callers provide.
Result getId() {
    char out[32];
    std::memset(out, '#', sizeof out);
    const int saved = dup(STDERR_FILENO);
    const int err = memfd_create("err", 0);
    dup2(err, STDERR_FILENO);
    const int code = getCardIDStr(out);
    dup2(saved, STDERR_FILENO);
    Result result{code, std::string(out, strnlen(out, sizeof out)), contents(err)};
    close(saved);
    close(err);
    return result;
}

long openFiles() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
}

void expect(int code, const std::string& id, const std::string& err, const Result& result) {
    EXPECT_EQ(code, result.code);
    EXPECT_EQ(id, result.id);
    EXPECT_EQ(err, result.err);
}

} // namespace

TEST(GetCardIDStr, RefusesNull) {
    const Ended ended = inChild([] { EXPECT_EQ(-1, getCardIDStr(nullptr)); });
    EXPECT_EQ(0, ended.status);
    EXPECT_EQ("Cannot call with null pointer\n", ended.err);
}

TEST(GetCardIDStr, MakesFolderAndFileAndStoresANewIdentifier) {
    mkdir("/tmp/fuse_d", 0777);
    umask(022);
    drawn = {5};
    expect(0, "24", "", getId());
    EXPECT_EQ("24", fileText(card));
    struct stat found {};
    ASSERT_EQ(0, stat(folder, &found));
    EXPECT_EQ(0755U, found.st_mode & 07777);
}

TEST(GetCardIDStr, FolderIsMadeWithMode0777) {
    mkdir("/tmp/fuse_d", 0777);
    umask(0);
    getId();
    struct stat found {};
    ASSERT_EQ(0, stat(folder, &found));
    EXPECT_EQ(0777U, found.st_mode & 07777);
}

TEST(GetCardIDStr, GivesTheStoredIdentifierTheSecondTime) {
    mkdir("/tmp/fuse_d", 0777);
    const Result first = getId();
    EXPECT_EQ(0, first.code);
    EXPECT_EQ(first.id, fileText(card));
    EXPECT_EQ(1, draws);
    expect(0, first.id, "", getId());
    EXPECT_EQ(1, draws);
}

TEST(GetCardIDStr, IdentifierIsTheSquareOfTheDrawnNumberLess1) {
    const struct {
        int number;
        const char* id;
    } rows[] = {{1, "0"}, {2, "3"}, {46341, "2147488280"}, {2147483647, "4611686014132420608"}};
    for (const auto& row : rows) {
        store("");
        drawn = {row.number};
        expect(0, row.id, "", getId());
        EXPECT_EQ(row.id, fileText(card));
    }
}

TEST(GetCardIDStr, DrawsAreSeededWithTheTime) {
    store("");
    const auto before = static_cast<unsigned>(std::time(nullptr));
    getId();
    EXPECT_LE(before, seed);
    EXPECT_GE(static_cast<unsigned>(std::time(nullptr)), seed);
}

TEST(GetCardIDStr, StoredLineIsGivenAsItStands) {
    const std::string longId = "1234567890123456789012345678901"; // 31 characters
    const struct {
        std::string stored;
        std::string id;
    } rows[] = {
        {"17", "17"},         {longId, longId}, {longId + "2345", longId},  {"17\n", "17\n"},
        {"17\n18\n", "17\n"}, {"\n", "\n"},     {"no number", "no number"},
    };
    for (const auto& row : rows) {
        store(row.stored);
        expect(0, row.id, "", getId());
        EXPECT_EQ(row.stored, fileText(card));
    }
    EXPECT_EQ(0, draws);
}

TEST(GetCardIDStr, EmptyOrMissingFileGetsANewIdentifier) {
    store("");
    drawn = {3};
    expect(0, "8", "", getId());
    EXPECT_EQ("8", fileText(card));
    unlink(card);
    drawn = {4};
    expect(0, "15", "", getId());
    EXPECT_EQ("15", fileText(card));
}

TEST(GetCardIDStr, SomethingElseThanAFolderFails) {
    mkdir("/tmp/fuse_d", 0777);
    close(open(folder, O_WRONLY | O_CREAT, 0666));
    expect(-1, "0", "Path:/tmp/fuse_d/MISC/ exists and is a NOT folder\n", getId());
}

TEST(GetCardIDStr, MissingParentFails) {
    expect(-1, "0", "Failed to create folder:/tmp/fuse_d/MISC/\n", getId());
    EXPECT_FALSE(exists("/tmp/fuse_d"));
}

TEST(GetCardIDStr, FileThatCannotBeCreatedFails) {
    store("");
    unlink(card);
    mkdir(card, 0777); // it opens, gives nothing to read, and cannot be written
    expect(-1, "0", "Failed to create file  /tmp/fuse_d/MISC/card\n", getId());
}

TEST(GetCardIDStr, DrawsUpToTenTimesForANumberThatIsNot0) {
    store("");
    drawn = {0, 0, 0, 0, 0, 0, 0, 0, 0, 2};
    expect(0, "3", "", getId());
    EXPECT_EQ(10, draws);
}

TEST(GetCardIDStr, TenZerosFailAndLeaveTheFileOpenAndEmpty) {
    store("");
    const long before = openFiles();
    drawn = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2};
    expect(-1, "0", "Failed to get random number\n", getId());
    EXPECT_EQ(10, draws);
    EXPECT_EQ("", fileText(card));
    EXPECT_EQ(before + 1, openFiles());
}

TEST(GetCardIDStr, ClosesTheFileOtherwise) {
    store("");
    const long before = openFiles();
    getId();
    getId();
    EXPECT_EQ(before, openFiles());
}

TEST(GetCardIDStr, FailedWriteKeepsTheNewIdentifierInTheBuffer) {
    store("");
    int err[2];
    ASSERT_EQ(0, pipe(err)); // what a file takes is limited below
    const Ended ended = inChild([&] {
        dup2(err[1], STDERR_FILENO);
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit nothing{};
        getrlimit(RLIMIT_FSIZE, &nothing);
        nothing.rlim_cur = 0;
        setrlimit(RLIMIT_FSIZE, &nothing);
        drawn = {5};
        char out[32];
        EXPECT_EQ(-1, getCardIDStr(out));
        EXPECT_STREQ("24", out);
    });
    EXPECT_EQ(0, ended.status);
    EXPECT_EQ("", fileText(card));
    char text[128] = {};
    EXPECT_LT(0, read(err[0], text, sizeof text - 1));
    EXPECT_STREQ("Failed to get write card_id to file\n", text);
}
