/*
 * The libraries' side of the talk with zvControlD: bounded in time. The connection to the daemon's own socket
 * (socketPath) stays open for the next exchange of the process as long as all goes well, and is made anew when the
 * daemon has closed it; a connection elsewhere is for one exchange.
 *
 * Every function returns 0, the daemon's own code, ZV_ERR_INVALID_PARAM for a parameter that is too long, or ZV_ERR
 * when the daemon is absent, does not answer within the time limit (connecting included) or answers something else.
 * Nothing is allocated or thrown; outputs are untouched on failure.
 */
#pragma once

#include "controlProtocol.h"

namespace zvcontrol {

struct Endpoint {
    const char* path = socketPath;
    int timeoutMs = 5000; // of the whole exchange
};

struct Answer {
    std::size_t length = 0;
    unsigned char data[maxData];
};

int exchange(Operation operation, std::int32_t number, std::span<const unsigned char> param, Answer& answer,
             const Endpoint& endpoint = {});

// Without parameter and data.
int request(Operation operation, std::int32_t number, const Endpoint& endpoint = {});
int getState(State state, Answer& answer, const Endpoint& endpoint = {});

// Camera state items, 32-bit each. item: a CSI_ number.
int getItem(int item, std::int32_t& value, const Endpoint& endpoint = {});
int setItem(int item, std::int32_t value, const Endpoint& endpoint = {});

} // namespace zvcontrol
