#include "ControlClient.h"

#include "zvErrno.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

namespace zvcontrol {
namespace {

class Socket {
public:
    Socket() : fd_(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0)) {}
    ~Socket() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    int fd() const { return fd_; }

private:
    int fd_;
};

class Deadline {
public:
    explicit Deadline(int milliseconds) : end_(now() + milliseconds) {}

    // Makes the next call on the socket wait no longer than what is left. False when nothing is left.
    bool limit(int fd, int option) const {
        const std::int64_t left = end_ - now();
        if (left <= 0) {
            return false;
        }
        timeval limit{};
        limit.tv_sec = static_cast<time_t>(left / 1000);
        limit.tv_usec = static_cast<suseconds_t>(left % 1000 * 1000);
        return setsockopt(fd, SOL_SOCKET, option, &limit, sizeof limit) == 0;
    }

private:
    static std::int64_t now() {
        timespec time{};
        clock_gettime(CLOCK_MONOTONIC, &time);
        return static_cast<std::int64_t>(time.tv_sec) * 1000 + time.tv_nsec / 1000000;
    }
    std::int64_t end_;
};

// Repeats call, which a signal may interrupt, until it succeeds, fails or the time is up.
template<class Call>
ssize_t within(const Deadline& deadline, int fd, int option, Call call) {
    for (;;) {
        if (!deadline.limit(fd, option)) {
            return -1;
        }
        const ssize_t done = call();
        if (done >= 0 || errno != EINTR) {
            return done;
        }
    }
}

// Waits, bounded, when the daemon's queue of connections is full.
bool connectTo(const char* path, const Deadline& deadline, int fd) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::size_t length = std::strlen(path);
    if (length >= sizeof address.sun_path) {
        return false;
    }
    std::memcpy(address.sun_path, path, length);
    return within(deadline, fd, SO_SNDTIMEO, [&]() -> ssize_t {
               return connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
           }) == 0;
}

} // namespace

int exchange(Operation operation, std::int32_t number, std::span<const unsigned char> param, Answer& answer,
             const Endpoint& endpoint) {
    unsigned char packet[maxPacket];
    const std::size_t length = encodeRequest({operation, number, param}, packet);
    if (length == 0) {
        return ZV_ERR_INVALID_PARAM;
    }
    const Socket socket;
    const Deadline deadline(endpoint.timeoutMs);
    const int fd = socket.fd();
    if (fd < 0 || !connectTo(endpoint.path, deadline, fd)) {
        return ZV_ERR;
    }
    const ssize_t sent =
        within(deadline, fd, SO_SNDTIMEO, [&] { return send(fd, packet, length, MSG_NOSIGNAL); });
    if (sent < 0) {
        return ZV_ERR;
    }
    // With MSG_TRUNC the packet's own length is returned, so that an overlong one is seen.
    const ssize_t arrived =
        within(deadline, fd, SO_RCVTIMEO, [&] { return recv(fd, packet, sizeof packet, MSG_TRUNC); });
    if (arrived < 0 || static_cast<std::size_t>(arrived) > sizeof packet) {
        return ZV_ERR;
    }
    const auto decoded = decodeAnswer({packet, static_cast<std::size_t>(arrived)});
    if (!decoded) {
        return ZV_ERR;
    }
    if (decoded->result == ZV_OK) {
        answer.length = decoded->data.size();
        if (answer.length > 0) {
            std::memcpy(answer.data, decoded->data.data(), answer.length);
        }
    }
    return decoded->result;
}

int request(Operation operation, std::int32_t number, const Endpoint& endpoint) {
    Answer answer;
    return exchange(operation, number, {}, answer, endpoint);
}

int getState(State state, Answer& answer, const Endpoint& endpoint) {
    return exchange(Operation::GetState, static_cast<std::int32_t>(state), {}, answer, endpoint);
}

int getItem(int item, std::int32_t& value, const Endpoint& endpoint) {
    Answer answer;
    const int result = exchange(Operation::GetItem, item, {}, answer, endpoint);
    if (result != ZV_OK) {
        return result;
    }
    if (answer.length != 4) {
        return ZV_ERR;
    }
    value = takeNumber(std::span<const unsigned char, 4>(answer.data, 4));
    return ZV_OK;
}

int setItem(int item, std::int32_t value, const Endpoint& endpoint) {
    unsigned char param[4];
    putNumber(value, param);
    Answer answer;
    return exchange(Operation::SetItem, item, param, answer, endpoint);
}

} // namespace zvcontrol
