// Unix sockets by path.
#pragma once

#include "uniqueFd.h"

#include <chrono>
#include <string>

namespace zvcamera {

// A listening, non-blocking socket of the type (SOCK_STREAM, SOCK_SEQPACKET) at path, open to owner and group. A file
// that a killed process left behind is replaced; throws std::runtime_error when somebody serves it, std::system_error
// when it cannot be made.
zv::UniqueFd listenUnix(const std::string& path, int type);

// A connected, blocking socket. Throws std::system_error.
zv::UniqueFd connectUnix(const std::string& path, int type);

} // namespace zvcamera
