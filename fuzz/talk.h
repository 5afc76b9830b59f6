// Talking to a daemon of the camera that runs in this process: its sockets stand in a folder of the process's own.
#pragma once

#include "eventLoop.h"
#include "fuzzInput.h"

#include <string>

namespace zvfuzz {

// A folder for the sockets and files of a daemon, removed at the end of the process.
const std::string& ownFolder();

// Connects to a socket of that path. type: SOCK_STREAM or SOCK_SEQPACKET.
zv::UniqueFd connectTo(const std::string& path, int type);

// Lets the loop do what there is to do.
void letRun(zvcamera::EventLoop& loop);

// All that can be read without waiting.
std::string received(int fd);

// Each line that an admin socket answers is an object with "ok" and "result" or "error", or "event" and "data".
void checkAdminLines(const std::string& lines);

} // namespace zvfuzz
