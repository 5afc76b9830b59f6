#include "adminServer.h"

#include "scenario.h"
#include "unixSocket.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <vector>

namespace zvcamera {
namespace {

std::string errorLine(const std::string& text) {
    return toLine({{"ok", false}, {"error", text}}) + "\n";
}

std::string invalidLine(const std::string& text) {
    return toLine({{"ok", false}, {"error", text}, {"kind", "invalid"}}) + "\n";
}

} // namespace

AdminServer::AdminServer(EventLoop& loop, std::string path)
    : loop_(loop),
      path_(std::move(path)),
      listener_(listenUnix(path_, SOCK_STREAM)) {
    loop_.addFd(listener_.get(), POLLIN, [this](short) { accept(); });
}

AdminServer::~AdminServer() {
    for (const auto& [id, client] : clients_) {
        loop_.removeFd(client.fd.get());
    }
    loop_.removeFd(listener_.get());
    unlink(path_.c_str());
}

void AdminServer::on(const std::string& op, Handler handler) {
    operations_[op] = {std::move(handler), false};
}

void AdminServer::onSubscribe(const std::string& op, Handler handler) {
    operations_[op] = {std::move(handler), true};
}

void AdminServer::accept() {
    zv::UniqueFd fd(accept4(listener_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!fd.ok()) {
        if (errno == EMFILE || errno == ENFILE) {
            dropOldest();
        }
        return;
    }
    if (clients_.size() >= clientLimit) {
        dropOldest();
    }
    const std::uint64_t id = ++lastClient_;
    loop_.addFd(fd.get(), POLLIN, [this, id](short revents) { serve(id, revents); });
    clients_[id].fd = std::move(fd);
}

void AdminServer::serve(std::uint64_t id, short revents) {
    const auto found = clients_.find(id);
    if (found == clients_.end()) {
        return;
    }
    Client& client = found->second;
    if ((revents & (POLLIN | POLLHUP | POLLERR)) != 0 && !client.ending && !read(client)) {
        client.ending = true;
    }
    serving_ = id;
    const bool bearable = handleLines(client);
    serving_ = 0;
    if (bearable) {
        update(id);
    } else {
        drop(id);
    }
}

// False at the end of what the client has to say.
bool AdminServer::read(Client& client) {
    char buffer[16384];
    const ssize_t length = recv(client.fd.get(), buffer, sizeof buffer, MSG_DONTWAIT);
    if (length > 0) {
        client.input.append(buffer, static_cast<std::size_t>(length));
        return true;
    }
    return length < 0 && (errno == EAGAIN || errno == EINTR);
}

// False for a client that asks for more than it reads.
bool AdminServer::handleLines(Client& client) {
    std::size_t start = 0;
    for (std::size_t end; (end = client.input.find('\n', start)) != std::string::npos; start = end + 1) {
        if (client.output.size() > unreadLimit) {
            return false;
        }
        if (end > start) {
            client.output += answer(client, client.input.substr(start, end - start));
        }
    }
    client.input.erase(0, start);
    if (client.input.size() > lineLimit) {
        client.input.clear();
        client.output += invalidLine("request line too long");
        client.ending = true;
    }
    return true;
}

std::string AdminServer::answer(Client& client, const std::string& line) {
    try {
        const Json request = parseJson(line);
        const auto op = request.is_object() ? request.find("op") : request.end();
        if (!request.is_object() || op == request.end() || !op->is_string()) {
            return invalidLine("a request is an object with the text \"op\"");
        }
        const auto found = operations_.find(op->get<std::string>());
        if (found == operations_.end()) {
            return invalidLine("unknown op " + op->get<std::string>());
        }
        const Json result = found->second.handler(request);
        if (found->second.subscribes) {
            client.topics.insert(found->first);
        }
        return toLine({{"ok", true}, {"result", result}}) + "\n";
    } catch (const JsonError& error) {
        return invalidLine(error.what());
    } catch (const Json::exception& error) {
        return invalidLine(plainText(error));
    } catch (const std::invalid_argument& error) {
        return invalidLine(error.what());
    } catch (const std::exception& error) {
        return errorLine(error.what());
    }
}

// False when the client is gone.
bool AdminServer::flush(Client& client) {
    while (!client.output.empty()) {
        const ssize_t length =
            send(client.fd.get(), client.output.data(), client.output.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (length < 0) {
            return errno == EAGAIN || errno == EINTR;
        }
        client.output.erase(0, static_cast<std::size_t>(length));
    }
    return true;
}

// Writes what can be written and waits for what comes next; drops a client that is done, gone or does not read.
void AdminServer::update(std::uint64_t id) {
    Client& client = clients_.at(id);
    const bool alive = flush(client);
    if (!alive || client.output.size() > unreadLimit || (client.ending && client.output.empty())) {
        drop(id);
        return;
    }
    const int events = (client.ending ? 0 : POLLIN) | (client.output.empty() ? 0 : POLLOUT);
    loop_.setEvents(client.fd.get(), static_cast<short>(events));
}

void AdminServer::publish(const std::string& topic, const Json& data) {
    std::vector<std::uint64_t> receivers;
    for (const auto& [id, client] : clients_) {
        if (client.topics.count(topic) != 0) {
            receivers.push_back(id);
        }
    }
    if (receivers.empty()) {
        return;
    }
    const std::string line = toLine({{"event", topic}, {"data", data}}) + "\n";
    for (const std::uint64_t id : receivers) {
        clients_.at(id).output += line;
        if (id != serving_) {
            update(id);
        }
    }
}

bool AdminServer::hasSubscribers(const std::string& topic) const {
    return std::any_of(clients_.begin(), clients_.end(),
                       [&](const auto& entry) { return entry.second.topics.count(topic) != 0; });
}

void AdminServer::drop(std::uint64_t id) {
    const auto found = clients_.find(id);
    if (found != clients_.end()) {
        loop_.removeFd(found->second.fd.get());
        clients_.erase(found);
    }
}

void AdminServer::dropOldest() {
    const auto idle =
        std::find_if(clients_.begin(), clients_.end(), [](const auto& entry) { return entry.second.topics.empty(); });
    const auto oldest = idle != clients_.end() ? idle : clients_.begin();
    if (oldest != clients_.end()) {
        drop(oldest->first);
    }
}

} // namespace zvcamera
