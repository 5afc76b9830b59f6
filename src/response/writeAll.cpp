#include "writeAll.h"

#include <cerrno>
#include <new>
#include <poll.h>
#include <unistd.h>

namespace {

// Standard output may be a pipe that the web server made non-blocking.
bool waitUntilWritable(int descriptor) {
    pollfd waiting{descriptor, POLLOUT, 0};
    return poll(&waiting, 1, -1) > 0 || errno == EINTR;
}

bool mayRetry(int descriptor) {
    if (errno == EINTR) {
        return true;
    }
    return (errno == EAGAIN || errno == EWOULDBLOCK) && waitUntilWritable(descriptor);
}

} // namespace

bool write_all(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written > 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (written == 0 || !mayRetry(descriptor)) {
            return false;
        }
    }
    return true;
}

bool write_answer(const std::stringstream& stream) {
    if (stream.bad()) {
        return false;
    }
#if _GLIBCXX_USE_CXX11_ABI
    static_cast<void>(write_all(STDOUT_FILENO, stream.view()));
    return true;
#else
    // Built for a closed library with the string type of before C++11: the streams of that time only give copies.
    try {
        static_cast<void>(write_all(STDOUT_FILENO, stream.str()));
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
#endif
}
