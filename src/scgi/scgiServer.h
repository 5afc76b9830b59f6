/*
 * The resident process: accepts connections, and forks a process for each.
 */
#pragma once

#include "listeningSocket.h"
#include "uniqueFd.h"

#include <csignal>
#include <cstddef>
#include <sys/types.h>
#include <vector>

class ScgiServer {
public:
    /*
     * most: processes at once; connections beyond wait at the socket. serve: what a forked process does with its
     * connection; it ends with the result as its exit status. From now on the signals wait that run receives: construct
     * the server before the socket is opened, so that none leaves its path behind.
     */
    ScgiServer(ListeningSocket& socket, std::size_t most, int (*serve)(zv::UniqueFd connection));

    /*
     * Serves until SIGTERM, SIGINT or SIGHUP: then closes the socket, and returns when the last child has ended. Those
     * of the three that are ignored stay so. They, SIGCHLD and SIGPIPE stay blocked in the caller; children have them
     * as they were, but SIGCHLD and SIGPIPE with their default actions, as web servers start CGI programs. Reports
     * children that a signal has ended, and connections for which the system has no descriptor or no process. Returns
     * EXIT_SUCCESS; or EXIT_FAILURE at once, reported, when the system had no descriptor for the signals.
     */
    int run();

private:
    bool accepts() const { return socket_.isOpen() && children_.size() < most_; }
    void wait();
    void acceptOne();
    void begin(zv::UniqueFd connection);
    [[noreturn]] void beChild(zv::UniqueFd connection);
    void noteLack(const char* what);
    void takeSignals();
    void reap();

    ListeningSocket& socket_;
    std::size_t most_;
    int (*serve_)(zv::UniqueFd connection);
    std::vector<pid_t> children_; // those that were begun here: the process may have others
    sigset_t maskBefore_{};
    zv::UniqueFd signals_;
    bool lacking_ = false; // the system has refused something; after a while it is asked again
};
