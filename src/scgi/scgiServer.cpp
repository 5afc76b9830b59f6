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

// Where SIGCHLD is ignored, children leave no status. SIGPIPE is for the children: systemd has it ignored.
void takeDefaultActions() {
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    sigaction(SIGCHLD, &standard, nullptr);
    sigaction(SIGPIPE, &standard, nullptr);
}

bool isIgnored(int signal) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    return action.sa_handler == SIG_IGN;
}

// Blocks the signals that the server waits for, and makes a descriptor that tells of them; -1 when there is none.
int receiveSignals(sigset_t& before) {
    sigset_t set{};
    sigemptyset(&set);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGCHLD}) {
        if (!isIgnored(signal)) { // blocked, it would come nevertheless
            sigaddset(&set, signal);
        }
    }
    const int descriptor = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    sigaddset(&set, SIGPIPE); // whoever reads the reports may end at any time
    sigprocmask(SIG_BLOCK, &set, &before);
    return descriptor;
}

} // namespace

ScgiServer::ScgiServer(ListeningSocket& socket, std::size_t most, int (*serve)(zv::UniqueFd connection))
    : socket_(socket),
      most_(most),
      serve_(serve) {
    children_.reserve(most);
    takeDefaultActions();
    signals_.reset(receiveSignals(maskBefore_));
}

int ScgiServer::run() {
    if (!signals_.ok()) {
        reportScgi("No descriptor for signals");
        return EXIT_FAILURE;
    }
    std::fflush(nullptr); // what a library has printed is not to be printed by each child again
    while (socket_.isOpen() || !children_.empty()) {
        wait();
    }
    return EXIT_SUCCESS;
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
