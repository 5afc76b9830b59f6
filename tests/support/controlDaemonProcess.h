// A real zvControlD, started for a test.
#pragma once

#include "uniqueFd.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <spawn.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace zvtest {

class ControlDaemonProcess {
public:
    explicit ControlDaemonProcess(const std::string& scenario = "{}") {
        std::filesystem::create_directories("/run/zarvo");
        std::ofstream("/tmp/scenario.json") << scenario;
        // Not fork(): the child would inherit the locks of the test's threads.
        std::string words[] = {"zvControlD", "--scenario", "/tmp/scenario.json"};
        char* const arguments[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
        if (posix_spawn(&pid_, ZV_CONTROL_DAEMON, nullptr, nullptr, arguments, environ) != 0) {
            std::perror(ZV_CONTROL_DAEMON);
            std::abort();
        }
        while (!listens()) {
            if (waitpid(pid_, nullptr, WNOHANG) != 0) {
                std::fprintf(stderr, "zvControlD does not start\n");
                std::abort();
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }
    ~ControlDaemonProcess() {
        if (pid_ > 0) {
            // It ends like any daemon, also when a test has stopped it. SIGCONT goes first: behind SIGTERM it could
            // undo the stop by which a sanitizer checks for leaks at the end, and the check would wait for ever.
            kill(pid_, SIGCONT);
            kill(pid_, SIGTERM);
            waitpid(pid_, nullptr, 0);
        }
    }
    ControlDaemonProcess(const ControlDaemonProcess&) = delete;
    ControlDaemonProcess& operator=(const ControlDaemonProcess&) = delete;

    pid_t pid() const { return pid_; }
    // Sends SIGSTOP and waits until the daemon has stopped.
    void halt() {
        kill(pid_, SIGSTOP);
        waitpid(pid_, nullptr, WUNTRACED);
    }
    void resume() { kill(pid_, SIGCONT); }
    // Sends a signal and returns the daemon's wait status.
    int end(int signal) {
        int status = -1;
        kill(pid_, signal);
        waitpid(pid_, &status, 0);
        pid_ = -1;
        return status;
    }

private:
    // The socket's file is there a moment before the daemon listens.
    static bool listens() {
        const zv::UniqueFd client(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const sockaddr_un address{AF_UNIX, "/run/zarvo/zvControlD.admin"};
        return connect(client.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }

    pid_t pid_;
};

} // namespace zvtest
