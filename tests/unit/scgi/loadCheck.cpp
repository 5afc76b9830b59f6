// main.cpp has the tests with libraries that are really loaded.
#include "loadCheck.h"

#include "refusedCalls.h"
#include "uniqueFd.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using testing::StartsWith;

TEST(LoadCheck, NothingHasBeenAdded) {
    EXPECT_EQ("", describeLoading());
}

TEST(LoadCheck, ADescriptorHasBeenOpened) {
    const zv::UniqueFd file(open("/dev/zero", O_RDONLY));
    EXPECT_EQ("descriptors have been opened: " + std::to_string(file.get()) + " (/dev/zero)", describeLoading());
}

TEST(LoadCheck, DescriptorsHaveBeenOpened) {
    const zv::UniqueFd one(open("/dev/zero", O_RDONLY));
    const zv::UniqueFd other(open("/dev/null", O_RDONLY));
    EXPECT_EQ("descriptors have been opened: " + std::to_string(one.get()) + " (/dev/zero), " +
                  std::to_string(other.get()) + " (/dev/null)",
              describeLoading());
}

TEST(LoadCheck, MoreDescriptorsThanItCounts) {
    rlimit most{};
    getrlimit(RLIMIT_NOFILE, &most);
    most.rlim_cur = most.rlim_max;
    setrlimit(RLIMIT_NOFILE, &most);
    std::vector<zv::UniqueFd> files;
    for (int number = 0; number < 1500; ++number) {
        files.emplace_back(open("/dev/zero", O_RDONLY));
    }
    EXPECT_THAT(describeLoading(), StartsWith("descriptors have been opened: "));
}

TEST(LoadCheck, AThreadHasBeenStarted) {
    int gate[2];
    ASSERT_EQ(0, pipe(gate));
    std::thread waiting([&gate] {
        char go = 0;
        EXPECT_EQ(1, read(gate[0], &go, 1));
    });
    const std::string found = describeLoading();
    EXPECT_EQ(1, write(gate[1], "g", 1));
    waiting.join();
    EXPECT_EQ("threads have been started: 1", found);
}

TEST(LoadCheck, CannotKnowWithoutProc) {
    for (const char* const folder : {"/proc/self/fd", "/proc/self/task"}) {
        zvtest::unopenable = folder;
        EXPECT_EQ("threads and descriptors cannot be counted without /proc", describeLoading());
    }
    zvtest::unopenable = nullptr;
}

} // namespace
