/*
 * The libraries' side of the protocol with zvControlD. After a good exchange, the connection to the daemon's own socket
 * (socketPath) stays open for the next exchange of the process; it is made anew when the daemon has closed it. A
 * connection to another socket is for one exchange.
 *
 * Every function returns 0, the daemon's own code, ZV_ERR_INVALID_PARAM for a parameter of more than maxData bytes, or
 * ZV_ERR when the daemon is absent, gives no valid answer, or does not answer within the time limit, which includes the
 * connecting. Nothing is allocated, thrown or logged; outputs stay as they are on failure.
 */
#pragma once

#include "controlProtocol.h"

namespace zvcontrol {

struct Endpoint {
    const char* path = socketPath;
    int timeoutMs = 5000; // of the whole exchange
};

struct Answer {
    std::size_t length = 0; // bytes of data
    unsigned char data[maxData];
};

// Sends a request with its parameter, and stores the answer's data.
int exchange(Operation operation, std::int32_t number, std::span<const unsigned char> param, Answer& answer,
             const Endpoint& endpoint = {});

// Sends a request without parameter, and drops the answer's data.
int request(Operation operation, std::int32_t number, const Endpoint& endpoint = {});
// Asks for a state of the camera; its data: controlProtocol.h.
int getState(State state, Answer& answer, const Endpoint& endpoint = {});

// Get and set a camera state item, a 32-bit number. item: a CSI_ number (csi.h).
int getItem(int item, std::int32_t& value, const Endpoint& endpoint = {});
int setItem(int item, std::int32_t value, const Endpoint& endpoint = {});

} // namespace zvcontrol
