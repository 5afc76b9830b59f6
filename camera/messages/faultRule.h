/*
 * A rule that spoils replies: it names a command (a BLE command by name or code, "PD", "PX", or "*" for every command
 * of the daemon), a fault, the number of replies it hits (0: all), how many it lets pass first, and with what
 * probability it hits one of the others.
 */
#pragma once

#include "faultKinds.h"
#include "jsonReader.h"

#include <cstdint>
#include <string>
#include <vector>

namespace zvcamera {

struct FaultRule {
    std::uint64_t id = 0;
    std::string command;             // canonical, or "*"
    const FaultKind* kind = nullptr; // a row of the table
    FaultValue value;                // the fault's parameter
    std::int64_t most = 0;           // above value.number: each reply's number is drawn from these two and all between
    double probability = 1;          // of hitting a reply that it is for
    std::uint64_t draws = 0;         // what has been drawn so far
    std::uint32_t skip = 0;          // replies still let pass
    std::uint32_t left = 0;          // replies still to hit
    bool forEver = true;             // left does not count
    std::uint32_t hits = 0;

    // Whether the rule is for this request and its fault can hit the reply to it.
    bool concerns(const RequestInfo& request) const;
};

// Reads a rule ({"command":"scan_list","fault":"late","ms":2000,"count":3,"skip":1}). where: its name in error texts.
// Throws JsonError.
FaultRule readFaultRule(const Json& rule, const std::string& where);
// Reads the rules of a scenario, without those for a path of HTTP, which no daemon sees. Throws JsonError.
std::vector<FaultRule> readFaultRules(const Json& rules);
Json toJson(const FaultRule& rule);

} // namespace zvcamera
