#include "talk.h"

#include <cstring>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <sys/socket.h>
#include <sys/un.h>

namespace zvfuzz {
namespace {

struct Folder {
    std::string path = "/tmp/zv-fuzz-XXXXXX";
    Folder() { require(mkdtemp(path.data()) != nullptr, "a folder in /tmp"); }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
};

} // namespace

const std::string& ownFolder() {
    static const Folder folder;
    return folder.path;
}

zv::UniqueFd connectTo(const std::string& path, int type) {
    zv::UniqueFd fd(socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    require(connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0, "a daemon listens");
    return fd;
}

void letRun(zvcamera::EventLoop& loop) {
    for (int round = 0; round < 3; ++round) {
        loop.runOnce(std::chrono::milliseconds(0));
    }
}

std::string received(int fd) {
    std::string all;
    char part[4096];
    for (ssize_t length; (length = recv(fd, part, sizeof part, MSG_DONTWAIT)) > 0;) {
        all.append(part, static_cast<std::size_t>(length));
    }
    return all;
}

void checkAdminLines(const std::string& lines) {
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);) {
        const auto json = nlohmann::json::parse(line, nullptr, false);
        require(json.is_object(), "an answer is an object");
        const bool event = json.contains("event") && json.contains("data");
        const bool answer = json.contains("ok") && json.contains(json["ok"] == true ? "result" : "error");
        require(event || answer, "an answer says how it went");
    }
}

} // namespace zvfuzz
