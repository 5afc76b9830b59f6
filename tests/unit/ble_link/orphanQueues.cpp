#include "orphanQueues.h"

#include "bleTest.h"
#include "linkFaults.h"

#include <cerrno>
#include <csignal>
#include <dirent.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <mqueue.h>
#include <optional>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern "C" DIR* __real_opendir(const char* path);
extern "C" DIR* __wrap_opendir(const char* path);
extern "C" int __real_kill(pid_t process, int signal);
extern "C" int __wrap_kill(pid_t process, int signal);

namespace {

bool listable = true;
std::optional<pid_t> foreignProcess; // another user's: the system lets nobody signal it

// Removes a queue, and tells whether it was there.
bool takeQueue(const std::string& name) {
    return mq_unlink(name.c_str()) == 0;
}

// The id of a process that has ended, and still exists until it is waited for.
pid_t endedProcess() {
    const pid_t process = fork();
    if (process == 0) {
        _exit(0);
    }
    siginfo_t ended{};
    waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOWAIT);
    return process;
}

std::string goneProcess() {
    const pid_t process = endedProcess();
    waitpid(process, nullptr, 0);
    return std::to_string(process);
}

} // namespace

DIR* __wrap_opendir(const char* path) {
    return listable ? __real_opendir(path) : nullptr;
}

int __wrap_kill(pid_t process, int signal) {
    if (process == foreignProcess) {
        errno = EPERM;
        return -1;
    }
    return __real_kill(process, signal);
}

TEST(OrphanQueues, ThoseOfProcessesThatAreGoneAreRemoved) {
    const std::vector<std::string> orphans = {"/to_ZVCC" + goneProcess(), "/to_ZVCC" + goneProcess(),
                                              "/to_ZVCC2147483647"};
    for (const std::string& name : orphans) {
        makeQueue(name);
    }
    EXPECT_EQ(3, removeOrphanQueues());
    for (const std::string& name : orphans) {
        EXPECT_FALSE(takeQueue(name)) << name;
    }
    EXPECT_EQ(0, removeOrphanQueues());
}

TEST(OrphanQueues, ThoseOfProcessesThatExistStay) {
    const pid_t ended = endedProcess();
    const std::vector<std::string> names = {"/to_ZVCC1", "/to_ZVCC" + std::to_string(getpid()),
                                            "/to_ZVCC" + std::to_string(ended)};
    for (const std::string& name : names) {
        makeQueue(name);
    }
    EXPECT_EQ(0, removeOrphanQueues());
    for (const std::string& name : names) {
        EXPECT_TRUE(takeQueue(name)) << name;
    }
    waitpid(ended, nullptr, 0);
}

TEST(OrphanQueues, ThatOfAnotherUsersProcessStays) {
    makeQueue("/to_ZVCC2147483647");
    foreignProcess = 2147483647;
    EXPECT_EQ(0, removeOrphanQueues());
    foreignProcess.reset();
    EXPECT_TRUE(takeQueue("/to_ZVCC2147483647"));
}

TEST(OrphanQueues, OneThatCannotBeRemovedIsNotCounted) {
    makeQueue("/to_ZVCC2147483647");
    faults::unlinkFails = true;
    faults::arm();
    const int removed = removeOrphanQueues();
    faults::disarm();
    faults::unlinkFails = false;
    EXPECT_EQ(0, removed);
}

TEST(OrphanQueues, OtherNamesStay) {
    const std::string gone = goneProcess();
    const std::vector<std::string> names = {
        "/to_ZVCC",         "/to_ZVCC0",          "/to_ZVCC0" + gone,      "/to_ZVCC-" + gone,
        "/to_ZVCC+" + gone, "/to_ZVCC " + gone,   "/to_ZVCC" + gone + "x", "/to_ZVCC" + gone + " ",
        "/to_ZVCCx" + gone, "/to_ZVCC2147483648", "/to_ZVCC4294967297",    "/to_ZVCC99999999999999999999",
        "/to_ZVC" + gone,   "/to_zvcc" + gone,    "/xto_ZVCC" + gone,      "/to_zvnet",
    };
    for (const std::string& name : names) {
        makeQueue(name);
    }
    EXPECT_EQ(0, removeOrphanQueues());
    for (const std::string& name : names) {
        EXPECT_TRUE(takeQueue(name)) << name;
    }
}

TEST(OrphanQueues, AllStayWhereTheyCannotBeListed) {
    const std::string name = "/to_ZVCC" + goneProcess();
    makeQueue(name);
    listable = false;
    EXPECT_EQ(0, removeOrphanQueues());
    EXPECT_TRUE(takeQueue(name));
}
