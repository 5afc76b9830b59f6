#include "controlServer.h"

#include "log.h"
#include "unixSocket.h"
#include "zvErrno.h"

#include <cerrno>
#include <poll.h>
#include <sys/socket.h>

namespace zvcamera {
namespace {

// The process that made the connection; 0 when the kernel does not tell it.
pid_t peerOf(int fd) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 ? peer.pid : 0;
}

} // namespace

ControlServer::ControlServer(EventLoop& loop, std::string path, Handler handler, std::chrono::milliseconds idleLimit)
    : loop_(loop),
      path_(std::move(path)),
      handler_(std::move(handler)),
      idleLimit_(idleLimit),
      listener_(listenUnix(path_, SOCK_SEQPACKET)) {
    loop_.addFd(listener_.get(), POLLIN, [this](short) { accept(); });
}

ControlServer::~ControlServer() {
    while (!clients_.empty()) {
        drop(clients_.begin());
    }
    loop_.removeFd(listener_.get());
    unlink(path_.c_str());
}

void ControlServer::accept() {
    zv::UniqueFd fd(accept4(listener_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    const bool scarce = !fd.ok() && (errno == EMFILE || errno == ENFILE);
    if ((scarce || clients_.size() >= clientLimit) && !clients_.empty()) {
        logError("too many connections, closing the one silent longest");
        drop(clients_.begin());
    }
    if (!fd.ok()) {
        return;
    }
    const pid_t peer = peerOf(fd.get());
    clients_.push_back({std::move(fd), 0, false, peer});
    const auto client = std::prev(clients_.end());
    watch(client);
    loop_.addFd(client->fd.get(), POLLIN, [this, client](short) { serve(client); });
}

void ControlServer::watch(Clients::iterator client) {
    client->timer = loop_.addTimer(idleLimit_, [this, client] {
        if (!client->asked) {
            logError("a connection that asked nothing is closed");
        }
        drop(client);
    });
}

void ControlServer::serve(Clients::iterator client) {
    unsigned char packet[zvcontrol::maxPacket];
    const int fd = client->fd.get();
    // With MSG_TRUNC the packet's own length is returned, so that an overlong one is seen.
    const ssize_t length = recv(fd, packet, sizeof packet, MSG_DONTWAIT | MSG_TRUNC);
    if (length < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
    }
    if (length <= 0) {
        drop(client);
        return;
    }
    const auto arrived = static_cast<std::size_t>(length);
    const auto request = arrived <= sizeof packet ? zvcontrol::decodeRequest({packet, arrived}) : std::nullopt;
    if (!request) {
        logError("malformed request of %zu bytes", arrived);
        drop(client);
    } else if (!answer(*client, *request)) {
        drop(client);
    } else {
        client->asked = true;
        loop_.cancelTimer(client->timer);
        watch(client);
        clients_.splice(clients_.end(), clients_, client);
    }
}

bool ControlServer::answer(const Client& client, const zvcontrol::Request& request) {
    const ControlAnswer answer = handler_(request, client.peer);
    unsigned char packet[zvcontrol::maxPacket];
    std::size_t length = zvcontrol::encodeAnswer({answer.result, answer.data}, packet);
    if (length == 0) {
        length = zvcontrol::encodeAnswer({ZV_ERR, {}}, packet);
    }
    // A client that asks on without taking its answers is cut off like one that is gone.
    const bool sent = send(client.fd.get(), packet, length, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
    if (!sent) {
        logInfo("a client is gone before its answer");
    }
    return sent;
}

void ControlServer::drop(Clients::iterator client) {
    loop_.cancelTimer(client->timer);
    loop_.removeFd(client->fd.get());
    clients_.erase(client);
}

} // namespace zvcamera
