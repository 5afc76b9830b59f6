#include "openForReading.h"

#include "uniqueFd.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

TEST(OpenForReading, DoesNotWaitForAPipesWriter) {
    ASSERT_EQ(0, mkfifo("/tmp/pipe", 0600));
    EXPECT_TRUE(zv::UniqueFd(zv::openForReading("/tmp/pipe")).ok());
}

TEST(OpenForReading, KeepsTheDescriptorFromStartedPrograms) {
    const zv::UniqueFd file(zv::openForReading("/dev/null"));
    EXPECT_EQ(FD_CLOEXEC, fcntl(file.get(), F_GETFD));
}

TEST(OpenForReading, OpensForReadingAlone) {
    const zv::UniqueFd file(zv::openForReading("/dev/null"));
    EXPECT_EQ(-1, write(file.get(), "x", 1));
    EXPECT_EQ(EBADF, errno);
}

TEST(OpenForReading, FailsWithErrno) {
    EXPECT_EQ(-1, zv::openForReading("/tmp/absent"));
    EXPECT_EQ(ENOENT, errno);
}

} // namespace
