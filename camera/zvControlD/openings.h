// Which gateway serves the client of which TCP port: what the gateways say when they open the interface.
#pragma once

#include "jsonReader.h"

#include <cstdint>
#include <deque>
#include <span>
#include <sys/types.h>

namespace zvcamera {

class Openings {
public:
    static constexpr std::size_t limit = 1000; // the oldest make room

    // port: decimal digits; without any, nothing is kept.
    void add(std::span<const unsigned char> port, pid_t gateway);
    // [{"pid","port","micros"}], the oldest first; micros since 1970.
    Json toJson() const;

private:
    struct Opening {
        pid_t gateway;
        int port;
        std::int64_t time;
    };
    std::deque<Opening> kept_;
};

} // namespace zvcamera
