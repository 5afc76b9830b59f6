#include "program.h"

#include "openForReading.h"
#include "statusAnswer.h"
#include "uniqueFd.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

// Fixed: clients tell the failures apart by these line numbers.
constexpr int lineNoEntry = 248;
constexpr int lineNotFound = 255;
constexpr int lineActionRange = 305;
constexpr int lineStopWhitelist = 339;
constexpr int lineStopShell = 348;
constexpr int lineStartWhitelist = 379;
constexpr int lineStartShell = 388;

constexpr const char* whitelisted = "zvStream";

constexpr int pathSize = 50;
constexpr int commandSize = 1024;

constexpr int statusNotRun = 127; // of the shell

constexpr std::chrono::milliseconds stopPause{50}; // between the two signals

// Fixed: clients know the text with "start" for stopping too.
int failShell(std::ostream& stream, int error, const char* command, const char* function, int line) {
    return fail(stream, formatMessage("start: system errno %d cmd '%s'", error, command), function, line);
}

// Fixed: clients may send names whose path is longer than pathSize; the cut path is tested then.
bool isInstalled(const char* program) {
    char path[pathSize];
    const int length = std::snprintf(path, sizeof path, "/usr/local/zarvo/bin/%s", program);
    return length > 0 && length != pathSize && zv::UniqueFd(zv::openForReading(path)).ok();
}

// Fixed: the shell gets a text of the old length, whose last characters stand there twice where quotes were removed.
void removeQuotes(std::string& text) {
    std::size_t kept = 0;
    for (const char character : text) {
        if (character != '"') {
            text[kept++] = character;
        }
    }
}

// A program in the background must not hold a connection of the web server or of a daemon open. Kernels before 5.11
// cannot do this, which is no reason to refuse the request.
void keepDescriptorsFromPrograms() {
    static_cast<void>(close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC));
}

// A web server may hand SIGCHLD down ignored. The kernel would then keep no status of the shell, and system would
// report a shell that ran as one that could not be run. A handler, which is a closed library's, stays.
void keepStatusOfShell() {
    struct sigaction action {};
    sigaction(SIGCHLD, nullptr, &action);
    const bool ignored = action.sa_handler == SIG_IGN;
    if (!ignored && (action.sa_flags & SA_NOCLDWAIT) == 0) {
        return;
    }
    if (ignored) {
        action.sa_handler = SIG_DFL;
    }
    action.sa_flags &= ~SA_NOCLDWAIT;
    sigaction(SIGCHLD, &action, nullptr);
}

// False with errno when the shell could not be run: the result is -1 then, or, where the C library has no process for
// the shell, the status of one that has ended with 127. A shell that ran gives this status too, for a command that it
// did not find; but then no error number has been set.
bool runShell(const char* command) {
    keepDescriptorsFromPrograms();
    keepStatusOfShell();
    errno = 0;
    const int status = std::system(command); // NOLINT(cert-env33-c): running a shell command is what is asked for
    const bool failed = errno != 0 && errno != EINTR; // a wait that was interrupted goes on
    return status != -1 && !(failed && WIFEXITED(status) && WEXITSTATUS(status) == statusNotRun);
}

} // namespace

int executeCommand(ExecEntry* entry, std::ostream& stream) {
    if (entry == nullptr) {
        return fail(stream, "Null Program", "executeCommand", lineNoEntry);
    }
    const char* const program = entry->program.c_str();
    if (!isInstalled(program)) {
        return fail(stream, formatMessage("file not found %s", program), "executeCommand", lineNotFound);
    }
    removeQuotes(entry->arguments);
    switch (entry->action) {
    case actionStart:
        return startProg(program, entry->arguments.c_str(), stream);
    case actionStop:
        return stopProg(program, stream);
    case actionRestart:
        if (stopProg(program, stream) != 0) {
            return -1;
        }
        return startProg(program, entry->arguments.c_str(), stream);
    default:
        return fail(stream, formatMessage("invalid command %d", entry->action), "executeCommand", lineActionRange);
    }
}

int stopProg(const char* program, std::ostream& stream) {
    if (std::strcmp(program, whitelisted) != 0) {
        return fail(stream, "stop: not in whitelist", "stopProg", lineStopWhitelist);
    }
    char command[commandSize];
    std::snprintf(command, sizeof command, "killall -s SIGINT %s", whitelisted);
    static_cast<void>(runShell(command));
    std::this_thread::sleep_for(stopPause);
    std::snprintf(command, sizeof command, "killall -9 %s", whitelisted);
    if (!runShell(command)) {
        return failShell(stream, errno, command, "stopProg", lineStopShell);
    }
    return 0;
}

int startProg(const char* program, const char* arguments, std::ostream& stream) {
    if (std::strcmp(program, whitelisted) != 0) {
        return fail(stream, "start: not in whitelist", "startProg", lineStartWhitelist);
    }
    char command[commandSize];
    std::snprintf(command, sizeof command, "/usr/local/zarvo/bin/zvStream %s < /dev/null > /dev/null 2>&1 &",
                  arguments == nullptr ? "" : arguments);
    if (!runShell(command)) {
        return failShell(stream, errno, command, "startProg", lineStartShell);
    }
    return 0;
}
