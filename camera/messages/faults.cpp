#include "faults.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace zvcamera {
namespace {

constexpr double drawn53Bits = 9007199254740992.0; // 2 to the power of 53

// A number that looks random, the same for the same input (splitmix64).
std::uint64_t mixed(std::uint64_t number) {
    number += 0x9e3779b97f4a7c15U;
    number = (number ^ (number >> 30U)) * 0xbf58476d1ce4e5b9U;
    number = (number ^ (number >> 27U)) * 0x94d049bb133111ebU;
    return number ^ (number >> 31U);
}

} // namespace

bool PlannedFaults::refused() const {
    return std::any_of(rules.begin(), rules.end(), [](const FaultRule& rule) { return rule.kind->refuses; });
}

std::uint64_t FaultTable::add(FaultRule rule) {
    if (rules_.size() >= ruleLimit) {
        throw Refusal("too many fault rules");
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

std::uint64_t FaultTable::draw(FaultRule& rule) const {
    return mixed(mixed(mixed(seed_) + rule.id) + ++rule.draws);
}

// Draws for a rule that needs it.
bool FaultTable::hits(FaultRule& rule) const {
    return rule.probability >= 1 || static_cast<double>(draw(rule) >> 11U) / drawn53Bits < rule.probability;
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
        if (!hits(rule)) {
            continue;
        }
        if (rule.kind->rebuildsList) {
            planned.idShift = static_cast<std::uint8_t>(planned.idShift + rule.value.number);
        }
        ++rule.hits;
        rule.left -= rule.forEver ? 0 : 1;
        planned.rules.push_back(rule);
        if (rule.most > rule.value.number) {
            const auto choices = static_cast<std::uint64_t>(rule.most - rule.value.number) + 1;
            planned.rules.back().value.number += static_cast<std::int64_t>(draw(rule) % choices);
        }
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
            rule.kind->spoilReply(reply, request, rule.value.number);
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
