/*
 * The socket that the web server connects to.
 */
#pragma once

#include "uniqueFd.h"

#include <string>
#include <sys/types.h>

struct ScgiOptions;

/*
 * A socket that listens, without blocking whoever accepts from it. Removes its path at the end, if that is still its
 * own. For the process that opened it: what is forked gives up its copy by leave.
 */
class ListeningSocket {
public:
    ListeningSocket() = default;
    ~ListeningSocket() { close(); }
    ListeningSocket(const ListeningSocket&) = delete;
    ListeningSocket& operator=(const ListeningSocket&) = delete;

    /*
     * Opens the socket that the options name: at a path, in place of a socket that nobody listens at any more; or the
     * one that was inherited: descriptor 3 from systemd (LISTEN_FDS), or standard input, which is then
     * the null device. Empty; or why there is none.
     */
    std::string open(const ScgiOptions& options);

    int get() const { return socket_.get(); }
    bool isOpen() const { return socket_.ok(); }

    /* Closes the socket and removes its path. Nothing when that has been done. */
    void close();

    /* In a process that was forked: closes the descriptor alone. */
    void leave();

private:
    std::string bindTo(const ScgiOptions& options);
    std::string inherit();

    zv::UniqueFd socket_;
    std::string path_; // empty: not made here
    ino_t file_ = 0;
};
