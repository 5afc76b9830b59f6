#include "adminClient.h"

#include "scenario.h"
#include "unixSocket.h"

#include <cerrno>
#include <poll.h>
#include <sys/socket.h>

namespace zvtest {
namespace {

using Clock = std::chrono::steady_clock;

int millisecondsUntil(Clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    return static_cast<int>(std::max<std::int64_t>(left.count(), 0));
}

void sendAll(int fd, const std::string& text, Clock::time_point deadline) {
    for (std::size_t sent = 0; sent < text.size();) {
        pollfd writable{fd, POLLOUT, 0};
        if (poll(&writable, 1, millisecondsUntil(deadline)) == 0) {
            throw NoAnswer("the daemon does not read");
        }
        const ssize_t length = send(fd, text.data() + sent, text.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (length < 0 && errno != EAGAIN && errno != EINTR) {
            throw NoAnswer("the daemon has ended");
        }
        sent += length > 0 ? static_cast<std::size_t>(length) : 0;
    }
}

} // namespace

AdminClient::AdminClient(const std::string& path) : fd_(zvcamera::connectUnix(path, SOCK_STREAM)), name_(path) {}

bool AdminClient::readLine(std::string& line, Clock::time_point deadline) {
    for (;;) {
        const std::size_t end = input_.find('\n');
        if (end != std::string::npos) {
            line = input_.substr(0, end);
            input_.erase(0, end + 1);
            return true;
        }
        pollfd readable{fd_.get(), POLLIN, 0};
        const int ready = poll(&readable, 1, millisecondsUntil(deadline));
        if (ready == 0 || (ready < 0 && errno == EINTR)) {
            return false;
        }
        char buffer[65536];
        const ssize_t length = recv(fd_.get(), buffer, sizeof buffer, 0);
        if (length <= 0) {
            throw NoAnswer(name_ + ": the daemon has ended");
        }
        input_.append(buffer, static_cast<std::size_t>(length));
    }
}

Json AdminClient::call(const std::string& op, Json arguments, std::chrono::milliseconds wait) {
    const Clock::time_point deadline = Clock::now() + wait;
    arguments["op"] = op;
    sendAll(fd_.get(), zvcamera::toLine(arguments) + "\n", deadline);
    for (std::string line; readLine(line, deadline);) {
        const Json answer = Json::parse(line);
        if (answer.contains("event")) {
            continue;
        }
        if (answer.value("ok", false)) {
            return answer.at("result");
        }
        throw std::runtime_error(answer.value("error", "the daemon answered: " + line));
    }
    throw NoAnswer(name_ + ": the daemon does not answer");
}

Json AdminClient::nextEvent(std::chrono::milliseconds wait) {
    std::string line;
    while (readLine(line, Clock::now() + wait)) {
        Json answer = Json::parse(line);
        if (answer.contains("event")) {
            return answer.at("data");
        }
    }
    return nullptr;
}

} // namespace zvtest
