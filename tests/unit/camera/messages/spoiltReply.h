// Replies with faults, for the tests of these.
#pragma once

#include "faults.h"

#include <nlohmann/json.hpp>
#include <utility>

namespace zvcamera {

inline FaultRule rule(Json json) {
    return readFaultRule(json, "faults[0]");
}

inline RequestInfo status() {
    return {"pair_status", {9}};
}
inline RequestInfo page(std::uint8_t start, std::uint8_t maximum) {
    return {"whitelist_list", {6, start, maximum}};
}

// The reply of status 0 with these data after the table's faults.
inline Outgoing spoil(FaultTable& table, const RequestInfo& request, const Bytes& data) {
    return applyFaults(table.plan(request), request, Status::Ok, data);
}
inline Outgoing spoil(Json json, const RequestInfo& request, const Bytes& data) {
    FaultTable table;
    table.add(rule(std::move(json)));
    return spoil(table, request, data);
}

inline const Bytes plainStatus{0, 14, 0, 3, 0, 0, 2, 0x45, 0, 2, 0, 0, 0, 0xee};

} // namespace zvcamera
