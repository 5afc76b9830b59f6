#include "runFolder.h"

#include "uniqueFd.h"

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace zvcamera {
namespace {

bool served(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        return false;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const zv::UniqueFd probe(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    // EAGAIN: there is somebody, with more connections waiting than there is room for.
    return connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 || errno == EAGAIN;
}

bool running(const std::string& runFolder) {
    for (const char* name : {"supervisor.admin", "zvControlD.admin", "zvNetD.admin", "zvBleD.admin"}) {
        if (served(socketPath(runFolder, name))) {
            return true;
        }
    }
    return false;
}

std::optional<int> portOf(const std::string& name) {
    int port = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), port);
    if (error != std::errc() || end != name.data() + name.size() || port < 0 || port > 65535) {
        return std::nullopt;
    }
    return port;
}

std::string list(const std::map<int, std::string>& cameras) {
    std::string text;
    for (const auto& [port, folder] : cameras) {
        text += (text.empty() ? "" : ", ") + std::to_string(port);
    }
    return text;
}

} // namespace

std::string camerasFolder() {
    const char* temporary = std::getenv("TMPDIR");
    const std::string base = temporary != nullptr && *temporary != '\0' ? temporary : "/tmp";
    return base + "/zvcam-" + std::to_string(getuid());
}

std::map<int, std::string> runningCameras(const std::string& folder) {
    std::map<int, std::string> cameras;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        const auto port = portOf(entry->path().filename().string());
        std::string runFolder = (entry->path() / "run").string();
        std::error_code ignored;
        if (port && std::filesystem::is_directory(runFolder, ignored) && running(runFolder)) {
            cameras.emplace(*port, std::move(runFolder));
        }
    }
    return cameras;
}

std::string chooseRunFolder(const std::string& given, std::optional<int> port, const std::string& folder) {
    if (!given.empty()) {
        return given;
    }
    const std::map<int, std::string> cameras = runningCameras(folder);
    if (port) {
        const auto found = cameras.find(*port);
        if (found == cameras.end()) {
            const std::string others = cameras.empty() ? "" : "; running: " + list(cameras);
            throw NoCamera("no camera runs on port " + std::to_string(*port) + others);
        }
        return found->second;
    }
    if (cameras.empty()) {
        throw NoCamera("no camera is running (looked in " + folder + ")");
    }
    if (cameras.size() > 1) {
        throw NoCamera("more than one camera is running, choose with --port: " + list(cameras));
    }
    return cameras.begin()->second;
}

std::string socketPath(const std::string& runFolder, const std::string& name) {
    std::string path = runFolder + "/" + name;
    if (path.size() < sizeof(sockaddr_un::sun_path)) {
        return path;
    }
    // A descriptor of the folder makes a short path of a long one. It is kept to the end of the program.
    const int fd = open(runFolder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        throw NoCamera(runFolder + ": " + std::strerror(errno));
    }
    return "/proc/self/fd/" + std::to_string(fd) + "/" + name;
}

} // namespace zvcamera
