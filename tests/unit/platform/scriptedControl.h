// A peer in place of zvControlD that answers each request packet as the test says.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace zvtest {

using Packet = std::vector<unsigned char>;

inline sockaddr_un unixAddress(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    return address;
}

inline int listenSeqpacket(const std::string& path, int backlog) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    const sockaddr_un address = unixAddress(path);
    if (fd < 0 || bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(fd, backlog) != 0) {
        std::perror(path.c_str());
        std::abort();
    }
    return fd;
}

class ScriptedControl {
public:
    // Returns the answer; without one, the connection is closed unanswered.
    using Script = std::function<std::optional<Packet>(const Packet& request)>;

    // keepOpen: a connection stays open until the client closes it; otherwise it is closed after one request.
    explicit ScriptedControl(Script script, std::string path = "/run/zarvo/zvControlD.sock", bool keepOpen = false)
        : path_(std::move(path)),
          script_(std::move(script)),
          keepOpen_(keepOpen),
          listener_(listenSeqpacket(path_, 64)),
          thread_([this] { serve(); }) {}
    ~ScriptedControl() {
        shutdown(listener_, SHUT_RDWR);
        thread_.join();
        close(listener_);
        unlink(path_.c_str());
    }
    ScriptedControl(const ScriptedControl&) = delete;
    ScriptedControl& operator=(const ScriptedControl&) = delete;

    std::vector<Packet> requests() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return requests_;
    }

    int connections() const { return connections_; }

private:
    void serve() {
        std::vector<pollfd> open{{listener_, POLLIN, 0}};
        while (poll(open.data(), open.size(), -1) > 0) {
            for (std::size_t i = open.size(); i-- > 1;) {
                if (open[i].revents != 0 && !(serveOne(open[i].fd) && keepOpen_)) {
                    close(open[i].fd);
                    open.erase(open.begin() + static_cast<std::ptrdiff_t>(i));
                }
            }
            if (open[0].revents == 0) {
                continue;
            }
            const int fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
            if (fd < 0) {
                break;
            }
            open.push_back({fd, POLLIN, 0});
            ++connections_;
        }
        for (std::size_t i = 1; i < open.size(); ++i) {
            close(open[i].fd);
        }
    }

    bool serveOne(int fd) {
        Packet request(65536);
        const ssize_t length = recv(fd, request.data(), request.size(), 0);
        if (length <= 0) {
            return false;
        }
        request.resize(static_cast<std::size_t>(length));
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            requests_.push_back(request);
        }
        const auto answer = script_(request);
        return answer && send(fd, answer->data(), answer->size(), MSG_NOSIGNAL) >= 0;
    }

    std::string path_;
    Script script_;
    bool keepOpen_;
    int listener_;
    std::mutex mutex_;
    std::vector<Packet> requests_;
    std::atomic<int> connections_ = 0;
    std::thread thread_;
};

// A script that answers every request with 0 and no data.
inline std::optional<Packet> sayYes(const Packet&) {
    return Packet{'Z', 'A', 1, 0, 0, 0, 0, 0};
}

} // namespace zvtest
