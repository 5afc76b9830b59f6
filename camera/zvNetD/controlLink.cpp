#include "controlLink.h"

#include "controlProtocol.h"
#include "unixSocket.h"

#include <array>
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>

namespace zvcamera {
namespace {

using Packet = std::array<unsigned char, zvcontrol::maxPacket>;

// Connects and writes the request. The descriptor is not open when zvControlD is absent or takes no more requests.
zv::UniqueFd sendRequest(const std::string& path, std::int32_t item, std::int32_t value) {
    std::array<unsigned char, 4> number{};
    zvcontrol::putNumber(value, number);
    Packet packet{};
    const std::size_t length = zvcontrol::encodeRequest({zvcontrol::Operation::SetItem, item, number}, packet);
    try {
        zv::UniqueFd fd = connectUnix(path, SOCK_SEQPACKET | SOCK_NONBLOCK);
        if (send(fd.get(), packet.data(), length, MSG_DONTWAIT | MSG_NOSIGNAL) == static_cast<ssize_t>(length)) {
            return fd;
        }
    } catch (const std::system_error&) { // nobody serves the socket
    }
    return zv::UniqueFd();
}

} // namespace

ControlLink::ControlLink(EventLoop& loop, const std::string& runDir)
    : loop_(loop),
      path_(runDir + "/" + zvcontrol::socketName) {}

ControlLink::~ControlLink() {
    for (const auto& [id, pending] : pending_) {
        loop_.removeFd(pending.fd.get());
        loop_.cancelTimer(pending.timer);
    }
}

void ControlLink::setItem(std::int32_t item, std::int32_t value, Done done) {
    zv::UniqueFd fd = pending_.size() < pendingLimit ? sendRequest(path_, item, value) : zv::UniqueFd();
    if (!fd.ok()) {
        done(false);
        return;
    }
    const std::uint64_t id = ++last_;
    loop_.addFd(fd.get(), POLLIN, [this, id](short) { answered(id); });
    const EventLoop::TimerId timer = loop_.addTimer(answerTime, [this, id] { finish(id, false); });
    pending_.emplace(id, Pending{std::move(fd), timer, std::move(done)});
}

void ControlLink::answered(std::uint64_t id) {
    Packet packet{};
    const ssize_t length = recv(pending_.at(id).fd.get(), packet.data(), packet.size(), MSG_DONTWAIT);
    if (length < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
    }
    const std::size_t got = length > 0 ? static_cast<std::size_t>(length) : 0;
    const auto answer = zvcontrol::decodeAnswer(std::span<const unsigned char>(packet).first(got));
    finish(id, answer && answer->result == 0);
}

void ControlLink::finish(std::uint64_t id, bool done) {
    const auto found = pending_.find(id);
    const Pending pending = std::move(found->second);
    pending_.erase(found);
    loop_.removeFd(pending.fd.get());
    loop_.cancelTimer(pending.timer);
    pending.done(done);
}

} // namespace zvcamera
