#include "faults.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace zvcamera {

bool PlannedFaults::refused() const {
    return std::any_of(rules.begin(), rules.end(), [](const FaultRule& rule) { return rule.kind->refuses; });
}

std::uint64_t FaultTable::add(FaultRule rule) {
    if (rules_.size() >= ruleLimit) {
        throw JsonError("too many fault rules");
    }
    rule.id = ++lastId_;
    rules_.push_back(std::move(rule));
    return lastId_;
}

bool FaultTable::remove(std::uint64_t id) {
    return std::erase_if(rules_, [id](const FaultRule& rule) { return rule.id == id; }) > 0;
}

Json FaultTable::toJson() const {
    Json list = Json::array();
    for (const FaultRule& rule : rules_) {
        list.push_back(zvcamera::toJson(rule));
    }
    return list;
}

PlannedFaults FaultTable::plan(const RequestInfo& request) {
    PlannedFaults planned;
    for (FaultRule& rule : rules_) {
        if (!rule.concerns(request)) {
            continue;
        }
        if (rule.skip > 0) {
            --rule.skip;
            continue;
        }
        if (rule.kind->rebuildsList) {
            planned.idShift = static_cast<std::uint8_t>(planned.idShift + rule.value);
        }
        ++rule.hits;
        rule.left -= rule.forEver ? 0 : 1;
        planned.rules.push_back(rule);
    }
    std::erase_if(rules_, [](const FaultRule& rule) { return !rule.forEver && rule.left == 0; });
    return planned;
}

Outgoing applyFaults(const PlannedFaults& planned, const RequestInfo& request, Status status, const Bytes& data) {
    Reply reply;
    reply.status = static_cast<std::uint8_t>(status);
    reply.data = data;
    for (const FaultRule& rule : planned.rules) {
        if (rule.kind->spoilReply != nullptr) {
            rule.kind->spoilReply(reply, request, rule.value);
        }
    }
    Outgoing out;
    out.bytes = encodeMessage(reply.message());
    for (const FaultRule& rule : planned.rules) {
        if (rule.kind->spoilMessage != nullptr) {
            rule.kind->spoilMessage(out, rule.value);
        }
        out.faults += (out.faults.empty() ? "" : " ") + std::string(rule.kind->name);
    }
    return out;
}

} // namespace zvcamera
