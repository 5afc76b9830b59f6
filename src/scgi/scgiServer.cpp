#include "scgiServer.h"

#include "scgiReport.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <poll.h>
#include <string>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr int retryMilliseconds = 100;

// Where this signal is ignored, children leave no status.
void keepStatusOfChildren() {
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    sigaction(SIGCHLD, &standard, nullptr);
}

// Blocks the signals that the server waits for, and makes a descriptor that tells of them.
int receiveSignals(sigset_t& before) {
    sigset_t set{};
    sigemptyset(&set);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGCHLD}) {
        sigaddset(&set, signal);
    }
    sigprocmask(SIG_BLOCK, &set, &before);
    return signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
}

} // namespace

ScgiServer::ScgiServer(ListeningSocket& socket, std::size_t most, int (*serve)(zv::UniqueFd connection))
    : socket_(socket),
      most_(most),
      serve_(serve) {
    children_.reserve(most);
}

void ScgiServer::run() {
    keepStatusOfChildren();
    signals_.reset(receiveSignals(maskBefore_));
    std::fflush(nullptr); // what a library has printed is not to be printed by each child again
    while (socket_.isOpen() || !children_.empty()) {
        wait();
    }
}

void ScgiServer::wait() {
    const bool again = lacking_;
    pollfd waiting[] = {{signals_.get(), POLLIN, 0}, {accepts() && !again ? socket_.get() : -1, POLLIN, 0}};
    static_cast<void>(poll(waiting, std::size(waiting), again ? retryMilliseconds : -1));
    takeSignals();
    if (accepts() && (again || waiting[1].revents != 0)) {
        acceptOne();
    }
}

void ScgiServer::acceptOne() {
    zv::UniqueFd connection(accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (connection.ok()) {
        begin(std::move(connection));
    } else if (errno == EAGAIN || errno == ECONNABORTED) {
        lacking_ = false; // nobody waits
    } else {
        noteLack("No connection for a request");
    }
}

void ScgiServer::begin(zv::UniqueFd connection) {
    const pid_t child = fork();
    if (child == 0) {
        beChild(std::move(connection));
    }
    if (child < 0) {
        noteLack("No process for a request");
        return;
    }
    lacking_ = false;
    children_.push_back(child);
}

void ScgiServer::beChild(zv::UniqueFd connection) {
    signals_.reset();
    socket_.leave();
    sigprocmask(SIG_SETMASK, &maskBefore_, nullptr);
    std::exit(serve_(std::move(connection)));
}

// Reports the first refusal of several that follow each other.
void ScgiServer::noteLack(const char* what) {
    if (!std::exchange(lacking_, true)) {
        reportScgi(std::string(what) + ": " + std::strerror(errno));
    }
}

void ScgiServer::takeSignals() {
    signalfd_siginfo signal{};
    while (read(signals_.get(), &signal, sizeof signal) == sizeof signal) {
        if (signal.ssi_signo == SIGCHLD) {
            reap();
        } else {
            socket_.close();
        }
    }
}

void ScgiServer::reap() {
    int status = 0;
    pid_t child = 0;
    while ((child = waitpid(-1, &status, WNOHANG)) > 0) {
        if (std::erase(children_, child) > 0 && WIFSIGNALED(status)) {
            const int signal = WTERMSIG(status);
            reportScgi("The process " + std::to_string(child) + " of a request was ended by signal " +
                       std::to_string(signal) + " (" + strsignal(signal) + ")");
        }
    }
}
