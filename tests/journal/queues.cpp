// Stands in front of the message queues, and plays them.
#include "cLibrary.h"
#include "journal.h"
#include "script.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <fcntl.h>
#include <mqueue.h>
#include <new>
#include <poll.h>

using journal::place;
using journal::quoted;
using journal::record;

namespace {

constexpr mqd_t replyQueue = 1001;
constexpr mqd_t requestQueue = 1002;

constexpr int millisecondsPerSecond = 1000;

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

int mq_setattr(mqd_t queue, const mq_attr* attributes, mq_attr* before) {
    record("mq_setattr(", queue, ", ", attributes->mq_flags == O_NONBLOCK ? "O_NONBLOCK" : "other flags", ", ",
           place(before), ") = 0");
    return 0;
}

// A scripted -11 is a queue that is full.
int mq_send(mqd_t queue, const char* message, std::size_t length, unsigned priority) {
    int result = answer("mq_send", 0, EBADF);
    if (result == -EAGAIN) {
        errno = EAGAIN;
        result = -1;
    }
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
    // A clock that runs shortens the time by a little.
    const int limit = (timeout + millisecondsPerSecond - 1) / millisecondsPerSecond * millisecondsPerSecond;
    record("poll(", first->fd, ", ", first->events == POLLOUT ? "POLLOUT" : "other events", ", ", limit,
           ") = ", result);
    return result;
}

} // extern "C"
// NOLINTEND(readability-identifier-naming)
