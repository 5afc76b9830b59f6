/*
 * The daemon's end of the talk with the control libraries: a connection carries request packets, each answered with one
 * packet.
 *
 * No client can hold or stop the daemon: nothing waits, what is malformed is logged and its connection closed, a
 * connection that has not asked within idleLimit is closed, and so is the one that has been silent longest when there
 * are too many. (The libraries connect again.)
 */
#pragma once

#include "controlProtocol.h"
#include "eventLoop.h"

#include <cstdint>
#include <functional>
#include <list>
#include <string>
#include <sys/types.h>
#include <vector>

namespace zvcamera {

struct ControlAnswer {
    std::int32_t result = 0;
    std::vector<unsigned char> data; // none unless result is 0
};

class ControlServer {
public:
    // peer: process id of the client.
    using Handler = std::function<ControlAnswer(const zvcontrol::Request&, pid_t peer)>;

    static constexpr std::size_t clientLimit = 256;

    // Listens on path, as AdminServer does. The loop must outlive the server.
    ControlServer(EventLoop& loop, std::string path, Handler handler,
                  std::chrono::milliseconds idleLimit = std::chrono::seconds(10));
    ~ControlServer();
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;

    std::size_t clients() const { return clients_.size(); }

private:
    struct Client {
        zv::UniqueFd fd;
        EventLoop::TimerId timer;
        bool asked;
        pid_t peer;
    };
    using Clients = std::list<Client>; // the one that has been silent longest first

    void accept();
    void serve(Clients::iterator client);
    void watch(Clients::iterator client);
    bool answer(const Client& client, const zvcontrol::Request& request);
    void drop(Clients::iterator client);

    EventLoop& loop_;
    std::string path_;
    Handler handler_;
    std::chrono::milliseconds idleLimit_;
    zv::UniqueFd listener_;
    Clients clients_;
};

} // namespace zvcamera
