// Stands in front of clock, processes, shell and log, and plays them.
#include "cLibrary.h"
#include "journal.h"

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <sys/time.h>
#include <syslog.h>
#include <unistd.h>

using journal::quoted;
using journal::record;

namespace {

constexpr pid_t processId = 4242;
constexpr timeval now = {1000000000, 250000};

int waited(long long microseconds) {
    record("wait of ", microseconds, " microseconds");
    return 0;
}

} // namespace

// NOLINTBEGIN(readability-identifier-naming): the names are the C library's
extern "C" {

pid_t getpid() {
    record("getpid() = ", processId);
    return processId;
}

int gettimeofday(timeval* time, void*) {
    record("gettimeofday() = ", now.tv_sec, ".", now.tv_usec);
    *time = now;
    return 0;
}

int nanosleep(const timespec* time, timespec*) {
    return waited(static_cast<long long>(time->tv_sec) * 1000000 + time->tv_nsec / 1000);
}

int clock_nanosleep(clockid_t, int, const timespec* time, timespec*) {
    return nanosleep(time, nullptr);
}

int usleep(useconds_t microseconds) {
    return waited(microseconds);
}

int system(const char* command) {
    const int result = answer("system", 0, ENOMEM);
    record("system(", quoted(command), ") = ", result);
    return result;
}

pid_t fork() {
    if (std::getenv("ZV_JOURNAL_FORKS") != nullptr) { // the resident program, on behalf of a request
        return real<pid_t()>("fork")();
    }
    record("fork() = -1");
    errno = ENOSYS;
    return -1;
}

pid_t setsid() {
    record("setsid() = -1");
    errno = EPERM;
    return -1;
}

void openlog(const char* identifier, int options, int facility) {
    record("openlog(", quoted(identifier), ", ", options, ", ", facility, ")");
}

void closelog() {
    record("closelog()");
}

// Lines of the log are texts behind the format "%s".
void syslog(int priority, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const char* const line = std::strcmp(format, "%s") == 0 ? va_arg(arguments, const char*) : "";
    va_end(arguments);
    record("syslog(", priority, ", ", quoted(format), ", ", quoted(line), ")");
}

} // extern "C"
// NOLINTEND(readability-identifier-naming)
