#include "standardDescriptors.h"

#include "child.h"

#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <system_error>
#include <unistd.h>

namespace {

std::string placeOf(int descriptor) {
    std::error_code error;
    const auto place = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), error);
    return error ? "closed" : place.string();
}

// Which of the three a set of bits names.
bool names(unsigned set, int descriptor) {
    return (set >> descriptor & 1U) != 0;
}

} // namespace

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
