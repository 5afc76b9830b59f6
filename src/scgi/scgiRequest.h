/*
 * One SCGI request, as it comes over a connection: a header of variables, and a body.
 */
#pragma once

#include "uniqueFd.h"

#include <chrono>
#include <cstddef>

/* Bytes of the longest body that is taken. No command of the gateway's has one. */
inline constexpr std::size_t scgiBodyMost = 1UL << 20;

struct ScgiRequest {
    char** environment = nullptr; // of a CGI program; lives as long as the process
    zv::UniqueFd body;            // for standard input: the body's bytes and no others, then the end of file
};

/*
 * Reads a request from a socket, within the time limit. Holds no more than scgiNetstringMost and scgiBodyMost bytes.
 * Null; or why there is no request. A body that is too long is answered with 413, since the header may be right. To be
 * called once per process. Logs nothing.
 */
const char* receiveScgiRequest(int connection, std::chrono::milliseconds limit, ScgiRequest& request);
