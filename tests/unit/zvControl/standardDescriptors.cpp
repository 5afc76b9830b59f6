#include "standardDescriptors.h"

#include "child.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

extern "C" int __real_open64(const char* path, int flags, ...);
extern "C" int __wrap_open64(const char* path, int flags, mode_t mode);

namespace {

bool nullDeviceIsThere = true;

std::string placeOf(int descriptor) {
    std::error_code error;
    const auto place = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), error);
    return error ? "closed" : place.string();
}

// Which folder it is, an emulator with a root of its own tells differently.
bool isFolder(int descriptor) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode);
}

// Which of the three a set of bits names.
bool names(unsigned set, int descriptor) {
    return (set >> descriptor & 1U) != 0;
}

} // namespace

int __wrap_open64(const char* path, int flags, mode_t mode) {
    if (!nullDeviceIsThere && std::strcmp(path, "/dev/null") == 0) {
        errno = ENOENT;
        return -1;
    }
    return __real_open64(path, flags, mode);
}

TEST(StandardDescriptors, ThoseThatAreClosedGetTheNullDevice) {
    for (unsigned closed = 0; closed < 8; ++closed) {
        const auto ended = zvtest::inChild([closed] {
            std::string before[3];
            for (int descriptor = 0; descriptor < 3; ++descriptor) {
                if (names(closed, descriptor)) {
                    close(descriptor);
                }
                before[descriptor] = placeOf(descriptor);
            }
            closefrom(3);
            openStandardDescriptors();
            int wrong = 0;
            for (int descriptor = 0; descriptor < 3; ++descriptor) {
                const bool null = placeOf(descriptor) == "/dev/null";
                const bool same = placeOf(descriptor) == before[descriptor];
                const bool usable = (fcntl(descriptor, F_GETFL) & O_ACCMODE) == O_RDWR;
                wrong += (names(closed, descriptor) ? null && usable : same) ? 0 : 1;
            }
            wrong += placeOf(3) == "closed" ? 0 : 1;
            _exit(wrong);
        });
        EXPECT_EQ(0, ended.status) << closed;
    }
}

TEST(StandardDescriptors, WithoutANullDeviceAFolderThatRefusesOutputTakesThePlace) {
    const auto ended = zvtest::inChild([] {
        close(STDIN_FILENO);
        close(STDOUT_FILENO);
        nullDeviceIsThere = false;
        openStandardDescriptors();
        nullDeviceIsThere = true;
        EXPECT_TRUE(isFolder(STDIN_FILENO));
        EXPECT_TRUE(isFolder(STDOUT_FILENO));
        EXPECT_EQ(-1, write(STDOUT_FILENO, "x", 1));
    });
    EXPECT_EQ(0, ended.status) << ended.err;
}
