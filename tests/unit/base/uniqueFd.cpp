#include "uniqueFd.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <utility>

namespace {

int openOne() {
    const int fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
    EXPECT_LE(0, fd);
    return fd;
}

bool isOpen(int fd) {
    return fcntl(fd, F_GETFD) >= 0;
}

} // namespace

TEST(UniqueFd, ClosesAtItsEnd) {
    const int fd = openOne();
    {
        const zv::UniqueFd owner(fd);
        EXPECT_TRUE(owner.ok());
        EXPECT_EQ(fd, owner.get());
        EXPECT_TRUE(isOpen(fd));
    }
    EXPECT_FALSE(isOpen(fd));
}

TEST(UniqueFd, OwnsNothingAtFirst) {
    const zv::UniqueFd owner;
    EXPECT_FALSE(owner.ok());
    EXPECT_EQ(-1, owner.get());
}

TEST(UniqueFd, LeavesWhatItGaveAwayOpen) {
    const int fd = openOne();
    {
        zv::UniqueFd owner(fd);
        EXPECT_EQ(fd, owner.release());
        EXPECT_FALSE(owner.ok());
    }
    EXPECT_TRUE(isOpen(fd));
    close(fd);
}

TEST(UniqueFd, ResetClosesAndTakesAnother) {
    const int first = openOne();
    const int second = openOne();
    zv::UniqueFd owner(first);
    owner.reset(second);
    EXPECT_FALSE(isOpen(first));
    EXPECT_EQ(second, owner.get());
    owner.reset();
    EXPECT_FALSE(isOpen(second));
}

TEST(UniqueFd, MovesToOneOwner) {
    const int first = openOne();
    const int second = openOne();
    zv::UniqueFd from(first);
    zv::UniqueFd owner(std::move(from));
    EXPECT_EQ(first, owner.get());
    zv::UniqueFd other(second);
    owner = std::move(other);
    EXPECT_FALSE(isOpen(first));
    EXPECT_EQ(second, owner.get());
    EXPECT_TRUE(isOpen(second));
}

TEST(UniqueFd, KeepsWhatIsMovedToItself) {
    const int fd = openOne();
    zv::UniqueFd owner(fd);
    zv::UniqueFd& same = owner;
    owner = std::move(same);
    EXPECT_EQ(fd, owner.get());
    EXPECT_TRUE(isOpen(fd));
}
