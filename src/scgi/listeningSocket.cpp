#include "listeningSocket.h"

#include "scgiOptions.h"
#include "standardDescriptors.h"

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr int waitingMost = 1024;
constexpr int systemdDescriptor = 3;

std::string failure(const std::string& what) {
    return what + ": " + std::strerror(errno);
}

bool isSocket(const char* path, struct stat& status) {
    return lstat(path, &status) == 0 && S_ISSOCK(status.st_mode);
}

zv::UniqueFd makeSocket() {
    return zv::UniqueFd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

// True when the path is a socket that a process has left behind.
bool isAbandoned(const sockaddr_un& address) {
    struct stat status {};
    const zv::UniqueFd visitor = makeSocket();
    return isSocket(address.sun_path, status) &&
           connect(visitor.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 &&
           errno == ECONNREFUSED;
}

bool bindWithMode(int socket, const sockaddr_un& address, mode_t mode) {
    const mode_t before = umask(~mode & 0777); // nobody else may connect before the mode is right
    const bool bound = bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    umask(before);
    return bound;
}

int numberIn(const char* variable) {
    const char* const text = std::getenv(variable);
    int number = -1;
    if (text != nullptr) {
        std::from_chars(text, text + std::strlen(text), number);
    }
    return number;
}

int optionOf(int socket, int option) {
    int value = 0;
    socklen_t size = sizeof value;
    return getsockopt(socket, SOL_SOCKET, option, &value, &size) == 0 ? value : -1;
}

// Gives the socket another number, and each request's process a standard input to replace.
zv::UniqueFd moveFromInput() {
    zv::UniqueFd moved(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    if (moved.ok()) {
        close(STDIN_FILENO);
        static_cast<void>(openNothing()); // takes the number
    }
    return moved;
}

} // namespace

std::string ListeningSocket::open(const ScgiOptions& options) {
    return options.socket.empty() ? inherit() : bindTo(options);
}

std::string ListeningSocket::bindTo(const ScgiOptions& options) {
    const char* const path = options.socket.c_str();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (options.socket.size() >= sizeof address.sun_path) {
        return options.socket + ": longer than a socket's path may be";
    }
    options.socket.copy(address.sun_path, sizeof address.sun_path - 1);
    if (isAbandoned(address)) {
        unlink(path);
    }
    zv::UniqueFd made = makeSocket();
    if (!bindWithMode(made.get(), address, options.mode)) {
        return failure(options.socket);
    }
    path_ = options.socket;
    struct stat status {};
    static_cast<void>(isSocket(path, status));
    file_ = status.st_ino;
    if (lchown(path, options.user, options.group) != 0 || listen(made.get(), waitingMost) != 0) {
        std::string reason = failure(options.socket);
        close();
        return reason;
    }
    socket_ = std::move(made);
    return "";
}

std::string ListeningSocket::inherit() {
    int descriptor = STDIN_FILENO;
    if (const int process = numberIn("LISTEN_PID"); process > 0 && process == getpid()) {
        if (numberIn("LISTEN_FDS") != 1) {
            return "systemd has passed other than one socket";
        }
        descriptor = systemdDescriptor;
    }
    if (optionOf(descriptor, SO_ACCEPTCONN) != 1 || optionOf(descriptor, SO_TYPE) != SOCK_STREAM) {
        return "no socket is inherited that listens for connections; --socket PATH opens one";
    }
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK);
    socket_ = descriptor == STDIN_FILENO ? moveFromInput() : zv::UniqueFd(descriptor);
    return socket_.ok() ? "" : failure("the inherited socket");
}

void ListeningSocket::close() {
    struct stat status {};
    // Before the socket is closed: nobody has put another in its place yet, and its file's number is not given again.
    if (!path_.empty() && isSocket(path_.c_str(), status) && status.st_ino == file_) {
        unlink(path_.c_str());
    }
    path_.clear();
    socket_.reset();
}

void ListeningSocket::leave() {
    socket_.reset();
}
