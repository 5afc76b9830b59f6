// The faults that can hit a reply: one row each, in the table of faultKinds.cpp.
#pragma once

#include "bleProtocol.h"
#include "tlv.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace zvcamera {

// What a reply answers.
struct RequestInfo {
    std::string command; // canonical name; empty for a command that is none
    Bytes data;          // the request's data element
    // The asked page of a page command; null for any other request.
    const CommandInfo* page() const;
    std::uint8_t start() const { return data.size() > 1 ? data[1] : std::uint8_t{0}; }
    std::uint8_t maximum() const { return data.size() > 2 ? data[2] : std::uint8_t{0}; }
};

// A reply before it becomes bytes.
struct Reply {
    std::uint8_t category = categoryReply;
    std::uint8_t status = 0;
    Bytes data;
    bool hasResponse = true; // false: the message has no response element

    Message message() const;
};

// A reply as it goes out.
struct Outgoing {
    Bytes bytes;
    std::chrono::milliseconds delay{0};
    bool missing = false;
    std::string faults; // names of the faults that hit it, for the trace
};

struct FaultParameter {
    const char* key = nullptr; // null: the fault takes none
    std::int64_t standard = 0; // when a rule gives none
    std::int64_t low = 0;
    std::int64_t high = 0;
    const char* mostKey = nullptr; // of the upper end, for a fault that draws its value; null: the fault does not
    bool isBytes = false;          // the key holds a hex text, which a rule must give; high: the most bytes
};

// What a rule gives as its fault's parameter.
struct FaultValue {
    std::int64_t number = 0;
    Bytes bytes = {};
};

struct FaultKind {
    const char* name = nullptr;
    FaultParameter parameter = {};
    // For a fault of pages: whether it can hit the page of this request. Null: the fault can hit any reply.
    bool (*hitsPage)(const RequestInfo& request) = nullptr;
    bool refuses = false;      // the command is not carried out
    bool rebuildsList = false; // before the page is made, the list's id grows by the parameter, and stays so
    // What the fault does to the reply and to its bytes; null: nothing. `value` is the parameter of the rule.
    void (*spoilReply)(Reply& reply, const RequestInfo& request, std::int64_t value) = nullptr;
    void (*spoilMessage)(Outgoing& out, const FaultValue& value) = nullptr;
};

// Null when there is no such fault.
const FaultKind* findFaultKind(std::string_view name);

} // namespace zvcamera
