#include "unixSocket.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <system_error>

namespace zvcamera {
namespace {

constexpr mode_t socketMode = 0660;

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        throw std::system_error(ENAMETOOLONG, std::generic_category(), path);
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

zv::UniqueFd newSocket(int type, const std::string& path) {
    zv::UniqueFd fd(socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
    if (!fd.ok()) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return fd;
}

bool served(const std::string& path, int type) {
    const sockaddr_un address = addressOf(path);
    const zv::UniqueFd probe = newSocket(type | SOCK_NONBLOCK, path);
    const int result = connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    return result == 0 || errno == EAGAIN;
}

} // namespace

zv::UniqueFd listenUnix(const std::string& path, int type) {
    const sockaddr_un address = addressOf(path);
    if (served(path, type)) {
        throw std::runtime_error(path + " is served by another process");
    }
    unlink(path.c_str());
    zv::UniqueFd fd = newSocket(type | SOCK_NONBLOCK, path);
    if (bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        chmod(path.c_str(), socketMode) != 0 || listen(fd.get(), SOMAXCONN) != 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return fd;
}

zv::UniqueFd connectUnix(const std::string& path, int type) {
    const sockaddr_un address = addressOf(path);
    zv::UniqueFd fd = newSocket(type, path);
    if (connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return fd;
}

} // namespace zvcamera
