/*
 * Faults on demand: rules that spoil the replies of a daemon, to try how a client handles them. Several rules may hit
 * one reply; they work in the order in which they were added.
 */
#pragma once

#include "faultRule.h"

#include <cstdint>
#include <vector>

namespace zvcamera {

// The faults that hit one reply, with the values drawn for it.
struct PlannedFaults {
    std::vector<FaultRule> rules;
    std::uint8_t idShift = 0; // before the page is made, the list's id grows by this
    bool refused() const;
};

class FaultTable {
public:
    static constexpr std::size_t ruleLimit = 256;

    // Decides what rules draw: probabilities, and values between two. The same seed, rules and requests draw the same.
    void setSeed(std::uint64_t seed) { seed_ = seed; }
    std::uint64_t add(FaultRule rule); // gives it an id; throws Refusal when there are too many rules
    bool remove(std::uint64_t id);
    void clear() { rules_.clear(); }
    Json toJson() const;

    // Chooses the faults of a reply before its request is carried out; counts the rules down.
    PlannedFaults plan(const RequestInfo& request);

private:
    std::uint64_t draw(FaultRule& rule) const;
    bool hits(FaultRule& rule) const;

    std::uint64_t seed_ = 1;
    std::vector<FaultRule> rules_;
    std::uint64_t lastId_ = 0;
};

// The reply of this status and data, with the planned faults.
Outgoing applyFaults(const PlannedFaults& planned, const RequestInfo& request, Status status, const Bytes& data);

} // namespace zvcamera
