#include "zvUtil.h"

#include "child.h"

#include <cerrno>
#include <climits>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>

using namespace zvtest;

namespace {

bool failFork = false;
bool failChdir = false;

} // namespace

// Calls of the library that a test can make fail; the linker leads them here (--wrap).
extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier)
pid_t __real_fork();
pid_t __wrap_fork() {
    if (failFork) {
        errno = EAGAIN;
        return -1;
    }
    return __real_fork();
}
int __real_chdir(const char* path);
int __wrap_chdir(const char* path) {
    return failChdir ? -1 : __real_chdir(path);
}
// NOLINTEND(bugprone-reserved-identifier)
}

namespace {

// What a process reports about itself through a pipe.
struct Seen {
    int result;
    pid_t process;
    pid_t parent;
    pid_t session;
    mode_t mask;
    char folder[PATH_MAX];
};

Seen look(int result) {
    Seen seen{};
    seen.result = result;
    seen.process = getpid();
    seen.parent = getppid();
    seen.session = getsid(0);
    seen.mask = umask(0);
    if (getcwd(seen.folder, sizeof seen.folder) == nullptr) {
        seen.folder[0] = '\0';
    }
    return seen;
}

struct Daemon {
    Ended starter; // the process that called daemon_init
    Seen seen;     // what its child saw
};

Daemon daemonize() {
    int pipes[2];
    EXPECT_EQ(0, pipe(pipes));
    Daemon daemon{};
    umask(027);
    daemon.starter = inChild([&] {
        std::printf("buffered ");
        const Seen seen = look(daemon_init());
        std::printf("once");
        EXPECT_EQ(static_cast<ssize_t>(sizeof seen), write(pipes[1], &seen, sizeof seen));
    });
    EXPECT_EQ(static_cast<ssize_t>(sizeof daemon.seen), read(pipes[0], &daemon.seen, sizeof daemon.seen));
    return daemon;
}

} // namespace

TEST(Trim, SkipsBlanksAndTabsOnly) {
    char text[] = " a b ";
    EXPECT_EQ(text + 1, trim(text));
    EXPECT_STREQ(" a b ", text);
    char mixed[] = "\t \tx";
    EXPECT_EQ(mixed + 3, trim(mixed));
    char plain[] = "x";
    EXPECT_EQ(plain, trim(plain));
    for (const char other : {'\n', '\r', '\v', '\f', '\xA0'}) {
        char kept[] = {other, 'x', '\0'};
        EXPECT_EQ(kept, trim(kept)) << int(other);
    }
    char behind[] = " \nx";
    EXPECT_EQ(behind + 1, trim(behind));
}

TEST(Trim, NothingLeftIsNull) {
    char blank[] = "  \t";
    char empty[] = "";
    EXPECT_EQ(nullptr, trim(blank));
    EXPECT_EQ(nullptr, trim(empty));
    EXPECT_EQ(nullptr, trim(nullptr));
}

TEST(DaemonInit, ParentEndsWithStatus0) {
    const Daemon daemon = daemonize();
    EXPECT_EQ(0, daemon.starter.status);
}

TEST(DaemonInit, ChildLeadsASessionInTheRootWithoutMask) {
    char before[PATH_MAX];
    ASSERT_NE(nullptr, getcwd(before, sizeof before));
    ASSERT_STRNE("/", before);
    const Daemon daemon = daemonize();
    EXPECT_EQ(0, daemon.seen.result);
    EXPECT_NE(getpid(), daemon.seen.parent); // it is the starter's child that goes on, not the starter
    EXPECT_EQ(daemon.seen.process, daemon.seen.session);
    EXPECT_NE(getsid(0), daemon.seen.session);
    EXPECT_EQ(0U, daemon.seen.mask);
    EXPECT_STREQ("/", daemon.seen.folder);
}

TEST(DaemonInit, BufferedOutputIsWrittenOnce) {
    Ended ended;
    int pipes[2];
    ASSERT_EQ(0, pipe(pipes));
    ended = inChild([&] {
        dup2(pipes[1], STDOUT_FILENO);
        std::printf("buffered ");
        daemon_init();
        std::printf("once");
    });
    close(pipes[1]);
    // Until both processes have closed it.
    std::string text;
    char part[64];
    for (ssize_t length; (length = read(pipes[0], part, sizeof part)) > 0;) {
        text.append(part, static_cast<std::size_t>(length));
    }
    EXPECT_EQ("buffered once", text);
}

TEST(DaemonInit, GivesWhatTheChangeOfFolderGave) {
    failChdir = true;
    const Daemon daemon = daemonize();
    EXPECT_EQ(0, daemon.starter.status);
    EXPECT_EQ(-1, daemon.seen.result);
    EXPECT_EQ(0U, daemon.seen.mask);
}

TEST(DaemonInit, FailedForkGivesMinus1) {
    const Ended ended = inChild([] {
        failFork = true;
        const pid_t session = getsid(0);
        EXPECT_EQ(-1, daemon_init());
        EXPECT_EQ(getsid(0), session);
    });
    EXPECT_EQ(0, ended.status) << ended.out;
}

TEST(DaemonInit, DoesNothingBelowInit) {
    int pipes[2];
    ASSERT_EQ(0, pipe(pipes));
    const pid_t session = getsid(0);
    umask(027);
    inChild([&] {
        if (fork() == 0) { // its parent ends, so that init takes it over
            while (getppid() != 1) {
                usleep(1000);
            }
            const pid_t before = getpid();
            const Seen seen = look(daemon_init());
            EXPECT_EQ(before, seen.process);
            EXPECT_EQ(static_cast<ssize_t>(sizeof seen), write(pipes[1], &seen, sizeof seen));
            _exit(0);
        }
    });
    Seen seen{};
    ASSERT_EQ(static_cast<ssize_t>(sizeof seen), read(pipes[0], &seen, sizeof seen));
    EXPECT_EQ(0, seen.result);
    EXPECT_EQ(1, seen.parent);
    EXPECT_EQ(session, seen.session);
    EXPECT_EQ(027U, seen.mask);
    EXPECT_STRNE("/", seen.folder);
}
