// A running zvControlD as its clients see it: the camera's tool and the control libraries.
#pragma once

#include "adminClient.h"
#include "csi.h"
#include "unixSocket.h"

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <sys/socket.h>
#include <vector>

namespace zvcamera {

inline constexpr const char* control = "/run/zarvo/zvControlD.sock";
inline constexpr const char* admin = "/run/zarvo/zvControlD.admin";

inline Json ask(const char* op, const Json& arguments = Json::object()) {
    return zvtest::AdminClient(admin).call(op, arguments, std::chrono::seconds(30)); // generous to a loaded machine
}

inline std::string refusal(const char* op, const Json& arguments = Json::object()) {
    try {
        ask(op, arguments);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "(none)";
}

inline int recording() {
    int value = -1;
    const int result = csi_get(CSI_RECORDING, 4, nullptr, &value);
    return result == 0 ? value : result;
}

inline bool fileExists(const char* path) {
    return std::filesystem::exists(path);
}

// What a connection brings back for a packet: bytes, or nothing when it is closed without an answer.
inline std::vector<unsigned char> exchange(const std::vector<unsigned char>& packet) {
    const zv::UniqueFd fd = connectUnix(control, SOCK_SEQPACKET);
    send(fd.get(), packet.data(), packet.size(), MSG_NOSIGNAL);
    std::vector<unsigned char> answer(8192);
    const ssize_t length = recv(fd.get(), answer.data(), answer.size(), 0);
    answer.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return answer;
}

inline const std::vector<unsigned char> openPacket = {'Z', 'C', 1, 1, 0, 0, 0, 0};
inline const std::vector<unsigned char> yes = {'Z', 'A', 1, 0, 0, 0, 0, 0};

} // namespace zvcamera
