#include "faults.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

namespace zvcamera {
namespace {

struct KindInfo {
    FaultKind kind;
    const char* name;
    const char* parameter; // null: none
    std::int64_t standard;
    std::int64_t low;
    std::int64_t high;
    bool pagesOnly;
};

constexpr std::array<KindInfo, 12> kinds{{
    {FaultKind::Late, "late", "ms", 1000, 0, 600000, false},
    {FaultKind::Missing, "missing", nullptr, 0, 0, 0, false},
    {FaultKind::Refused, "refused", "status", 1, 1, 255, false},
    {FaultKind::Category, "category", "category", 2, 0, 255, false},
    {FaultKind::NoResponse, "no_response", nullptr, 0, 0, 0, false},
    {FaultKind::Truncated, "truncated", "bytes", 6, 0, 1500, false},
    {FaultKind::Short, "short", "bytes", 0, 0, 1500, false},
    {FaultKind::Index, "index", "by", 1, -255, 255, true},
    {FaultKind::TooMany, "too_many", "by", 1, 1, 255, true},
    {FaultKind::ListId, "list_id", "by", 1, 1, 255, true},
    {FaultKind::Extra, "extra", "bytes", 8, 1, 1500, false},
    {FaultKind::Garbage, "garbage", "bytes", 40, 0, 1500, false},
}};
static_assert(kinds.back().kind == FaultKind::Garbage &&
              kinds.size() == static_cast<std::size_t>(FaultKind::Garbage) + 1);

constexpr std::size_t indexOffset = 2;
constexpr std::size_t countOffset = 3;

const KindInfo& infoOf(FaultKind kind) {
    return kinds[static_cast<std::size_t>(kind)];
}

const KindInfo* findKind(const std::string& name) {
    const auto found =
        std::find_if(kinds.begin(), kinds.end(), [&](const KindInfo& info) { return name == info.name; });
    return found == kinds.end() ? nullptr : &*found;
}

// The canonical name of a rule's command, or an empty text.
std::string canonicalCommand(const std::string& text) {
    if (text == "*" || text == "PD" || text == "PX") {
        return text;
    }
    const CommandInfo* info = findCommand(text);
    return info == nullptr ? "" : info->name;
}

std::string readCommand(JsonReader& reader) {
    const Json* value = reader.any("command");
    if (value == nullptr) {
        reader.fail("command", "missing");
    }
    std::string text;
    if (value->is_number_integer()) {
        text = std::to_string(value->get<std::int64_t>());
    } else {
        reader.text("command", text);
    }
    std::string name = canonicalCommand(text);
    if (name.empty()) {
        reader.fail("command", "no such command: " + text);
    }
    return name;
}

bool canHit(const FaultRule& rule, const RequestInfo& request) {
    if (rule.command != "*" && rule.command != request.command) {
        return false;
    }
    if (!infoOf(rule.kind).pagesOnly) {
        return true;
    }
    if (request.page() == nullptr) {
        return false;
    }
    // A count is one byte: nothing exceeds a maximum of 255. And a list's first page has nothing to differ from.
    return rule.kind == FaultKind::TooMany  ? request.maximum() < 255
           : rule.kind == FaultKind::ListId ? request.start() > 0
                                            : true;
}

Bytes garbage(std::int64_t count, std::uint8_t start) {
    Bytes bytes;
    std::uint32_t state = 0x9e3779b9U + start;
    for (std::int64_t i = 0; i < count; ++i) {
        state = state * 1664525U + 1013904223U;
        bytes.push_back(static_cast<std::uint8_t>(state >> 24));
    }
    return bytes;
}

void growPage(Bytes& data, const RequestInfo& request, std::int64_t by) {
    const std::int64_t count = std::min<std::int64_t>(255, request.maximum() + by);
    const std::size_t entries =
        std::min((clientMessageSize - pageOverhead) / request.page()->entrySize, static_cast<std::size_t>(count));
    data[countOffset] = static_cast<std::uint8_t>(count);
    data.resize(std::max(data.size(), pageHeaderSize + entries * request.page()->entrySize));
}

// Faults of what the reply says.
void spoilContent(const FaultRule& rule, const RequestInfo& request, Message& reply) {
    Element& response = reply.elements.front();
    Bytes data(response.data.begin() + 1, response.data.end());
    const bool page = request.page() != nullptr && data.size() >= pageHeaderSize;
    switch (rule.kind) {
    case FaultKind::Category:
        reply.category = static_cast<std::uint8_t>(rule.value);
        break;
    case FaultKind::Short:
        data.resize(std::min(data.size(), static_cast<std::size_t>(rule.value)));
        break;
    case FaultKind::Index:
        if (page) {
            data[indexOffset] = static_cast<std::uint8_t>(data[indexOffset] + rule.value);
        }
        break;
    case FaultKind::TooMany:
        if (page) {
            growPage(data, request, rule.value);
        }
        break;
    case FaultKind::Refused:
        response.data[0] = static_cast<std::uint8_t>(rule.value);
        data.clear();
        break;
    case FaultKind::Late:
    case FaultKind::Missing:
    case FaultKind::NoResponse:
    case FaultKind::Truncated:
    case FaultKind::ListId:
    case FaultKind::Extra:
    case FaultKind::Garbage:
        return;
    }
    response.data.resize(1);
    response.data.insert(response.data.end(), data.begin(), data.end());
}

// Faults of the message as a whole.
void spoilMessage(const FaultRule& rule, Outgoing& out) {
    const auto bytes = static_cast<std::size_t>(rule.value);
    if (rule.kind == FaultKind::Late) {
        out.delay += std::chrono::milliseconds(rule.value);
    } else if (rule.kind == FaultKind::Missing) {
        out.missing = true;
    } else if (rule.kind == FaultKind::Truncated) {
        out.bytes.resize(std::min(out.bytes.size(), bytes));
    } else if (rule.kind == FaultKind::Extra) {
        const Bytes more = garbage(rule.value, 1);
        out.bytes.insert(out.bytes.end(), more.begin(), more.end());
    } else if (rule.kind == FaultKind::Garbage) {
        out.bytes = garbage(rule.value, 2);
    }
    out.faults += (out.faults.empty() ? "" : " ") + std::string(toText(rule.kind));
}

} // namespace

const char* toText(FaultKind kind) {
    return infoOf(kind).name;
}

std::string faultParameter(const std::string& fault) {
    const KindInfo* info = findKind(fault);
    if (info == nullptr) {
        throw JsonError("no such fault: " + fault);
    }
    return info->parameter == nullptr ? "" : info->parameter;
}

FaultRule readFaultRule(const Json& rule, const std::string& where) {
    JsonReader reader(rule, where);
    FaultRule read;
    read.command = readCommand(reader);
    std::string name;
    reader.text("fault", name);
    const KindInfo* info = findKind(name);
    if (info == nullptr) {
        reader.fail("fault", name.empty() ? "missing" : "no such fault: " + name);
    }
    read.kind = info->kind;
    read.value = info->standard;
    if (info->parameter != nullptr) {
        reader.number(info->parameter, read.value, info->low, info->high);
    }
    const CommandInfo* command = findCommand(read.command);
    if (info->pagesOnly && read.command != "*" && (command == nullptr || command->entrySize == 0)) {
        reader.fail("command", read.command + " does not answer pages, which " + name + " spoils");
    }
    reader.number("skip", read.skip, 0, 1000000);
    reader.number("count", read.left, 0, 1000000);
    read.forEver = read.left == 0;
    reader.finish();
    return read;
}

Json toJson(const FaultRule& rule) {
    Json json{{"id", rule.id},
              {"command", rule.command},
              {"fault", toText(rule.kind)},
              {"hits", rule.hits},
              {"skip", rule.skip}};
    json["left"] = rule.forEver ? Json("all") : Json(rule.left);
    if (infoOf(rule.kind).parameter != nullptr) {
        json[infoOf(rule.kind).parameter] = rule.value;
    }
    return json;
}

const CommandInfo* RequestInfo::page() const {
    const CommandInfo* info = findCommand(command);
    return info != nullptr && info->entrySize > 0 && data.size() == info->dataSize ? info : nullptr;
}

bool PlannedFaults::refused() const {
    return std::any_of(rules.begin(), rules.end(),
                       [](const FaultRule& rule) { return rule.kind == FaultKind::Refused; });
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
        if (!canHit(rule, request)) {
            continue;
        }
        if (rule.skip > 0) {
            --rule.skip;
            continue;
        }
        if (rule.kind == FaultKind::ListId) {
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
    Message reply = makeReply(static_cast<std::uint8_t>(status), data);
    bool noResponse = false;
    for (const FaultRule& rule : planned.rules) {
        spoilContent(rule, request, reply);
        noResponse = noResponse || rule.kind == FaultKind::NoResponse;
    }
    if (noResponse) {
        reply.elements.erase(reply.elements.begin());
    }
    Outgoing out;
    out.bytes = encodeMessage(reply);
    for (const FaultRule& rule : planned.rules) {
        spoilMessage(rule, out);
    }
    return out;
}

} // namespace zvcamera
