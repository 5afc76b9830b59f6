// The web server's side of SCGI.
#pragma once

#include "uniqueFd.h"
#include "writeAll.h"

#include <chrono>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/socket.h>
#include <sys/types.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace zvtest {

using Variables = std::vector<std::pair<std::string, std::string>>;

// Names and values, each with a zero byte behind it.
inline std::string scgiVariables(const Variables& variables) {
    std::string header;
    for (const auto& [name, value] : variables) {
        header += name + '\0' + value + '\0';
    }
    return header;
}

inline std::string netstring(const std::string& content) {
    return std::to_string(content.size()) + ":" + content + ",";
}

// A whole request of these variables, behind the two that each has.
inline std::string scgiRequest(Variables variables, const std::string& body = "") {
    variables.insert(variables.begin(), {{"CONTENT_LENGTH", std::to_string(body.size())}, {"SCGI", "1"}});
    return netstring(scgiVariables(variables)) + body;
}

// A connection to a socket; invalid with errno when nobody listens there.
inline zv::UniqueFd connectTo(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    zv::UniqueFd connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        connection.reset();
    }
    return connection;
}

// All that comes until the other side closes the connection.
inline std::string rest(const zv::UniqueFd& connection) {
    std::string text;
    char block[4096];
    for (ssize_t length; (length = read(connection.get(), block, sizeof block)) > 0;) {
        text.append(block, static_cast<std::size_t>(length));
    }
    return text;
}

// Sends a request and returns the answer; what nobody takes is lost.
inline std::string askScgi(const std::string& path, const std::string& request) {
    const zv::UniqueFd connection = connectTo(path);
    static_cast<void>(send(connection.get(), request.data(), request.size(), MSG_NOSIGNAL));
    return rest(connection);
}

// How many children a process has.
inline std::size_t childrenOf(pid_t process) {
    const std::string number = std::to_string(process);
    std::ifstream list("/proc/" + number + "/task/" + number + "/children");
    return static_cast<std::size_t>(std::distance(std::istream_iterator<int>(list), std::istream_iterator<int>()));
}

inline void waitForChildren(pid_t process, std::size_t number) {
    while (childrenOf(process) != number) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

// Waits until somebody listens at the path, and has done with this visit.
inline void waitForServer(const std::string& path) {
    zv::UniqueFd visit;
    while (!(visit = connectTo(path)).ok()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    shutdown(visit.get(), SHUT_WR);
    rest(visit);
}

} // namespace zvtest
