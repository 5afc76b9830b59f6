#include "scgiReader.h"

#include <cerrno>
#include <poll.h>
#include <sys/socket.h>

using std::chrono::milliseconds;
using std::chrono::steady_clock;

ScgiReader::ScgiReader(int connection, milliseconds limit)
    : connection_(connection),
      end_(steady_clock::now() + limit) {}

std::size_t ScgiReader::read(std::span<char> room) {
    for (;;) {
        const ssize_t length = recv(connection_, room.data(), room.size(), MSG_DONTWAIT);
        if (length > 0) {
            return static_cast<std::size_t>(length);
        }
        if (length == 0) {
            complaint_ = "it ended before it was whole";
            return 0;
        }
        if (errno != EAGAIN) {
            complaint_ = "its connection broke";
            return 0;
        }
        if (!waitForMore()) {
            complaint_ = "it took too long to arrive";
            return 0;
        }
    }
}

// False when the time is up. What interrupts the wait, and what it finds, the next look at the connection tells.
bool ScgiReader::waitForMore() {
    const auto left = std::chrono::ceil<milliseconds>(end_ - steady_clock::now());
    if (left <= milliseconds::zero()) {
        return false;
    }
    pollfd waiting{connection_, POLLIN, 0};
    static_cast<void>(poll(&waiting, 1, static_cast<int>(left.count())));
    return true;
}
