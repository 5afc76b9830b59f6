#include "scgiReader.h"

#include <cerrno>
#include <poll.h>
#include <sys/socket.h>

using std::chrono::milliseconds;
using std::chrono::steady_clock;

ScgiReader::ScgiReader(int connection, milliseconds limit)
    : connection_(connection),
      end_(steady_clock::now() + limit) {}

// The time is looked at before each piece: a stream that never pauses must end as well.
std::size_t ScgiReader::read(std::span<char> room) {
    for (milliseconds left = timeLeft(); left > milliseconds::zero(); left = timeLeft()) {
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
        // What interrupts the wait, and what it finds, the next look at the connection tells.
        pollfd waiting{connection_, POLLIN, 0};
        static_cast<void>(poll(&waiting, 1, static_cast<int>(left.count())));
    }
    complaint_ = "it took too long to arrive";
    return 0;
}

milliseconds ScgiReader::timeLeft() const {
    return std::chrono::ceil<milliseconds>(end_ - steady_clock::now());
}
