// Writing a text whole.
#pragma once

#include <cerrno>
#include <poll.h>
#include <string_view>
#include <unistd.h>

namespace zv {

// True when a write that failed with errno may be repeated; waits for room in a pipe that does not block.
inline bool mayWriteAgain(int descriptor) {
    if (errno == EINTR) {
        return true;
    }
    if (errno != EAGAIN && errno != EWOULDBLOCK) {
        return false;
    }
    pollfd waiting{descriptor, POLLOUT, 0};
    return poll(&waiting, 1, -1) > 0 || errno == EINTR;
}

// Writes the whole text with write(2), however little each call takes: repeats an interrupted call, waits for a
// descriptor that would block. False with errno when the descriptor refuses; the rest is then not written. Logs
// nothing. A pipe without a reader refuses only where SIGPIPE is ignored; elsewhere the signal ends the process.
inline bool writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written > 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (written == 0 || !mayWriteAgain(descriptor)) {
            return false;
        }
    }
    return true;
}

} // namespace zv
