#include "openings.h"

#include "traceRecord.h"

#include <nlohmann/json.hpp>

namespace zvcamera {

void Openings::add(std::span<const unsigned char> port, pid_t gateway) {
    if (port.empty()) {
        return;
    }
    int number = 0;
    for (const unsigned char digit : port) {
        number = number * 10 + (digit - '0');
    }
    kept_.push_back({gateway, number, wallClock()});
    if (kept_.size() > limit) {
        kept_.pop_front();
    }
}

Json Openings::toJson() const {
    Json list = Json::array();
    for (const Opening& opening : kept_) {
        list.push_back({{"pid", opening.gateway}, {"port", opening.port}, {"micros", opening.time}});
    }
    return list;
}

} // namespace zvcamera
