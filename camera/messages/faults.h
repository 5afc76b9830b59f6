/*
 * Faults on demand: rules that spoil the replies of a daemon, so that a client's handling of them can be tried.
 *
 * A rule names a command (a BLE command by name or code, "PD", "PX", or "*" for every command of the daemon), a fault,
 * the number of replies it hits (0: all) and how many it lets pass first. Several rules may hit one reply; they work in
 * the order in which they were added.
 */
#pragma once

#include "bleProtocol.h"
#include "jsonReader.h"
#include "tlv.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace zvcamera {

enum class FaultKind {
    Late,       // sent after `ms`
    Missing,    // never sent; the command is carried out
    Refused,    // answered with `status` and no data; the command is not carried out
    Category,   // message of category `category`
    NoResponse, // without the response element
    Truncated,  // the message's first `bytes` bytes only
    Short,      // the response element holds `bytes` bytes of data after the status, the message is consistent
    Index,      // a page's index moved by `by`
    TooMany,    // a page's count is the asked maximum plus `by`
    ListId,     // the list is rebuilt before a page that does not start at 0: its id grows by `by`, and stays so
    Extra,      // `bytes` bytes follow the message
    Garbage,    // `bytes` bytes without meaning instead of the message
};

struct FaultRule {
    std::uint64_t id = 0;
    std::string command; // canonical: a name of bleCommands, "PD", "PX", "*"
    FaultKind kind = FaultKind::Missing;
    std::int64_t value = 0; // the fault's parameter
    std::uint32_t skip = 0; // replies still let pass
    std::uint32_t left = 0; // replies still to hit
    bool forEver = true;    // left does not count
    std::uint32_t hits = 0;
};

// Reads a rule ({"command":"scan_list","fault":"late","ms":2000,"count":3,"skip":1}); throws JsonError.
FaultRule readFaultRule(const Json& rule, const std::string& where);
Json toJson(const FaultRule& rule);
const char* toText(FaultKind kind);
// The key of a fault's parameter ("ms"); empty when it takes none. Throws JsonError when there is no such fault.
std::string faultParameter(const std::string& fault);

// What a reply answers.
struct RequestInfo {
    std::string command; // canonical name; empty for a command that is none
    Bytes data;          // the request's data element
    // The asked page of a page command.
    const CommandInfo* page() const;
    std::uint8_t start() const { return data.size() > 1 ? data[1] : std::uint8_t{0}; }
    std::uint8_t maximum() const { return data.size() > 2 ? data[2] : std::uint8_t{0}; }
};

// The faults that hit one reply.
struct PlannedFaults {
    std::vector<FaultRule> rules;
    std::uint8_t idShift = 0; // what the list's id is to grow by, before the page is made
    bool refused() const;
};

// A reply as it goes out.
struct Outgoing {
    Bytes bytes;
    std::chrono::milliseconds delay{0};
    bool missing = false;
    std::string faults; // names of the faults that hit it, for the trace
};

class FaultTable {
public:
    static constexpr std::size_t ruleLimit = 256;

    std::uint64_t add(FaultRule rule); // gives it an id; throws JsonError when there are too many rules
    bool remove(std::uint64_t id);
    void clear() { rules_.clear(); }
    Json toJson() const;

    // Decides, before a request is carried out, what its reply will suffer; counts the rules down.
    PlannedFaults plan(const RequestInfo& request);

private:
    std::vector<FaultRule> rules_;
    std::uint64_t lastId_ = 0;
};

Outgoing applyFaults(const PlannedFaults& planned, const RequestInfo& request, Status status, const Bytes& data);

} // namespace zvcamera
