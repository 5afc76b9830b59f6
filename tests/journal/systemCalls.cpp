// Stands in front of the C library: message queues, clock, shell and log are played, everything else is passed on.
// Files below the camera's folders are looked for in the folder that ZV_JOURNAL_ROOT names.
#include "journal.h"
#include "script.h"

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <mqueue.h>
#include <new>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <syslog.h>
#include <unistd.h>

using journal::place;
using journal::quoted;
using journal::record;

namespace {

constexpr mqd_t replyQueue = 1001;
constexpr mqd_t requestQueue = 1002;
constexpr pid_t processId = 4242;
constexpr timeval now = {1000000000, 250000};

// The answer of a call that gives -1 and errno on failure.
int answer(const char* name, int otherwise, int error) {
    const int result = script::number(name, otherwise);
    errno = result == -1 ? error : errno;
    return result;
}

std::string flagText(int flags) {
    const std::string text = (flags & O_ACCMODE) == O_RDONLY ? "O_RDONLY" : "O_WRONLY";
    const int rest = flags & ~(O_ACCMODE | O_CREAT);
    return text + ((flags & O_CREAT) != 0 ? "|O_CREAT" : "") + (rest != 0 ? "|" + std::to_string(rest) : "");
}

std::string timeText(const timespec& time) {
    char text[48];
    std::snprintf(text, sizeof text, "%lld.%09ld", static_cast<long long>(time.tv_sec), time.tv_nsec);
    return text;
}

std::string fromHex(const std::string& text) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

template<typename Function>
Function* real(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// Where a file of the camera really is; empty for any other file.
std::string cameraFile(const char* path) {
    const char* const root = std::getenv("ZV_JOURNAL_ROOT");
    for (const char* const folder : {"/usr/local/zarvo/", "/tmp/fuse_d/"}) {
        if (root != nullptr && std::strncmp(path, folder, std::strlen(folder)) == 0) {
            return std::string(root) + path;
        }
    }
    return "";
}

int openFile(const char* path, int flags, mode_t mode) {
    const std::string file = cameraFile(path);
    const auto descriptor =
        static_cast<int>(syscall(SYS_openat, AT_FDCWD, file.empty() ? path : file.c_str(), flags, mode));
    if (!file.empty()) {
        record("open(", quoted(path), ") = ", descriptor == -1 ? "failed" : "ok");
    }
    return descriptor;
}

std::FILE* openStream(const char* name, const char* path, const char* mode) {
    const std::string file = cameraFile(path);
    auto* const opened = real<std::FILE*(const char*, const char*)>(name)(file.empty() ? path : file.c_str(), mode);
    if (!file.empty()) {
        record("open(", quoted(path), ") = ", opened == nullptr ? "failed" : "ok");
    }
    return opened;
}

template<typename Status>
int fileStatus(const char* name, const char* path, Status* status) {
    const std::string file = cameraFile(path);
    const int result = real<int(const char*, Status*)>(name)(file.empty() ? path : file.c_str(), status);
    if (!file.empty()) {
        record("stat(", quoted(path), ") = ", result);
    }
    return result;
}

int waited(long long microseconds) {
    record("wait of ", microseconds, " microseconds");
    return 0;
}

} // namespace

// NOLINTBEGIN(readability-identifier-naming): the names are the C library's
extern "C" {

mqd_t mq_open(const char* name, int flags, ...) {
    if ((flags & O_CREAT) == 0) {
        const int result = answer("mq_open.request", requestQueue, ENOENT);
        record("mq_open(", quoted(name), ", ", flagText(flags), ") = ", result);
        return result;
    }
    std::va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = va_arg(arguments, mode_t);
    const mq_attr* const limits = va_arg(arguments, const mq_attr*);
    va_end(arguments);
    const int result = answer("mq_open.reply", replyQueue, EACCES);
    record("mq_open(", quoted(name), ", ", flagText(flags), ", 0", std::oct, mode, std::dec, ", {flags ",
           limits->mq_flags, ", maxmsg ", limits->mq_maxmsg, ", msgsize ", limits->mq_msgsize, ", curmsgs ",
           limits->mq_curmsgs, "}) = ", result);
    return result;
}

int mq_close(mqd_t queue) {
    const int result = answer("mq_close", 0, EBADF);
    record("mq_close(", queue, ") = ", result);
    return result;
}

int mq_unlink(const char* name) {
    const int result = answer("mq_unlink", 0, ENOENT);
    record("mq_unlink(", quoted(name), ") = ", result);
    return result;
}

int mq_send(mqd_t queue, const char* message, std::size_t length, unsigned priority) {
    const int result = answer("mq_send", 0, EBADF);
    record("mq_send(", queue, ", ", place(message), ", ", length, ", ", priority, ") = ", result);
    return result;
}

int mq_timedsend(mqd_t queue, const char* message, std::size_t length, unsigned priority, const timespec* end) {
    const int result = answer("mq_send", 0, EBADF);
    record("mq_timedsend(", queue, ", ", place(message), ", ", length, ", ", priority, ", ", timeText(*end),
           ") = ", result);
    return result;
}

// Without a scripted reply the time is over at once.
ssize_t mq_timedreceive(mqd_t queue, char* buffer, std::size_t size, unsigned* priority, const timespec* end) {
    const std::optional<std::string> scripted = script::next("mq_timedreceive");
    const std::string reply = fromHex(scripted.value_or(""));
    const ssize_t result = scripted ? static_cast<ssize_t>(reply.copy(buffer, size)) : -1;
    record("mq_timedreceive(", queue, ", ", place(buffer), ", ", size, ", ", place(priority), ", ", timeText(*end),
           ") = ", result);
    errno = result == -1 ? ETIMEDOUT : errno;
    return result;
}

ssize_t mq_receive(mqd_t queue, char* buffer, std::size_t size, unsigned* priority) {
    record("mq_receive(", queue, ", ", place(buffer), ", ", size, ", ", place(priority), ") = -1");
    errno = EBADF;
    return -1;
}

int mq_getattr(mqd_t queue, mq_attr*) {
    record("mq_getattr(", queue, ") = -1");
    errno = EBADF;
    return -1;
}

// Writing waits on standard output as well: only queues are the journal's affair.
int poll(pollfd* waiting, nfds_t count, int timeout) {
    // Through std::launder, as the C library declares that poll only writes what it is given.
    pollfd* const first = std::launder(waiting);
    if (count != 1 || first->fd < replyQueue) {
        return real<int(pollfd*, nfds_t, int)>("poll")(waiting, count, timeout);
    }
    const int result = answer("poll", 1, EINTR);
    first->revents = static_cast<short>(result == 1 ? first->events : 0);
    record("poll(", first->fd, ", ", first->events == POLLOUT ? "POLLOUT" : "other events", ", ", timeout,
           ") = ", result);
    return result;
}

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

ssize_t write(int file, const void* data, std::size_t size) {
    if (file == STDOUT_FILENO) {
        const std::string_view text(static_cast<const char*>(data), size);
        record("write(1, ", journal::isText(text) ? quoted(text) : std::to_string(size) + " bytes", ")");
    }
    return syscall(SYS_write, file, data, size);
}

int open(const char* path, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return openFile(path, flags, mode);
}

int open64(const char* path, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return openFile(path, flags | O_LARGEFILE, mode);
}

std::FILE* fopen(const char* path, const char* mode) {
    return openStream("fopen", path, mode);
}

std::FILE* fopen64(const char* path, const char* mode) {
    return openStream("fopen64", path, mode);
}

int stat(const char* path, struct stat* status) {
    return fileStatus("stat", path, status);
}

int stat64(const char* path, struct stat64* status) {
    return fileStatus("stat64", path, status);
}

} // extern "C"
// NOLINTEND(readability-identifier-naming)
