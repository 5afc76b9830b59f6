#include "peakMemory.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <string_view>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

[[noreturn]] void become(char* path) {
    char* const arguments[] = {path, nullptr};
    const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nothing >= 0 && dup2(nothing, STDOUT_FILENO) >= 0 && ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0) {
        execv(path, arguments);
    }
    _exit(errno); // before the first stop: the starter takes it for the reason
}

bool wait(pid_t process, int& status) {
    while (waitpid(process, &status, 0) < 0) {
        if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

// Of the program that the process runs now, as the kernel writes it: "VmHWM:      648 kB".
long readPeak(pid_t process) {
    static constexpr std::string_view name = "VmHWM:";
    std::ifstream file("/proc/" + std::to_string(process) + "/status");
    std::string line;
    while (std::getline(file, line)) {
        if (line.starts_with(name)) {
            return std::strtol(line.c_str() + name.size(), nullptr, 10);
        }
    }
    return 0;
}

bool goOn(pid_t process, int number) {
    return ptrace(PTRACE_CONT, process, nullptr, static_cast<long>(number)) == 0;
}

} // namespace

long peakMemory(char* path, int& status) {
    const pid_t child = fork();
    if (child < 0) {
        return 0;
    }
    if (child == 0) {
        become(path);
    }
    if (!wait(child, status)) {
        return 0;
    }
    if (!WIFSTOPPED(status)) { // it has not come to be the program
        errno = WEXITSTATUS(status);
        return 0;
    }
    ptrace(PTRACE_SETOPTIONS, child, nullptr, static_cast<long>(PTRACE_O_TRACEEXIT | PTRACE_O_EXITKILL));
    long peak = 0;
    bool going = goOn(child, 0);
    while (going && wait(child, status) && WIFSTOPPED(status)) {
        const bool exiting = status >> 8 == (SIGTRAP | (PTRACE_EVENT_EXIT << 8));
        if (exiting) { // still with all of its memory
            peak = readPeak(child);
        }
        going = goOn(child, exiting ? 0 : WSTOPSIG(status));
    }
    return peak;
}
