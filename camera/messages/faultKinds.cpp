#include "faultKinds.h"

#include "bleEntries.h"

#include <algorithm>
#include <iterator>

namespace zvcamera {
namespace {

constexpr std::size_t indexOffset = 2;
constexpr std::size_t countOffset = 3;
constexpr std::int64_t maxByte = 255;
constexpr std::int64_t maxBytes = clientMessageSize;
constexpr std::int64_t maxDelayMs = 600000;
constexpr std::int64_t maxReply = 2048; // more than any client takes
constexpr std::uint8_t extraSeed = 1;
constexpr std::uint8_t garbageSeed = 2;

bool anyPage(const RequestInfo&) {
    return true;
}

// A count is one byte: nothing exceeds a maximum of 255.
bool canExceed(const RequestInfo& request) {
    return request.maximum() < maxByte;
}

// A list's first page has no earlier page to differ from.
bool isLaterPage(const RequestInfo& request) {
    return request.start() > 0;
}

bool isPage(const Reply& reply, const RequestInfo& request) {
    return request.page() != nullptr && reply.data.size() >= pageHeaderSize;
}

void refuse(Reply& reply, const RequestInfo&, std::int64_t status) {
    reply.status = static_cast<std::uint8_t>(status);
    reply.data.clear();
}

void changeCategory(Reply& reply, const RequestInfo&, std::int64_t category) {
    reply.category = static_cast<std::uint8_t>(category);
}

void leaveOutResponse(Reply& reply, const RequestInfo&, std::int64_t) {
    reply.hasResponse = false;
}

void shortenData(Reply& reply, const RequestInfo&, std::int64_t bytes) {
    reply.data.resize(std::min(reply.data.size(), static_cast<std::size_t>(bytes)));
}

void moveIndex(Reply& reply, const RequestInfo& request, std::int64_t by) {
    if (isPage(reply, request)) {
        reply.data[indexOffset] = static_cast<std::uint8_t>(reply.data[indexOffset] + by);
    }
}

// The added entries are zeros; the message stays within what a client takes.
void exceedMaximum(Reply& reply, const RequestInfo& request, std::int64_t by) {
    if (!isPage(reply, request)) {
        return;
    }
    const std::size_t entrySize = request.page()->entrySize;
    const std::int64_t count = std::min(maxByte, request.maximum() + by);
    const std::size_t entries =
        std::min((clientMessageSize - pageOverhead) / entrySize, static_cast<std::size_t>(count));
    reply.data[countOffset] = static_cast<std::uint8_t>(count);
    reply.data.resize(std::max(reply.data.size(), pageHeaderSize + entries * entrySize));
}

// Bytes without meaning, the same for the same seed.
Bytes meaninglessBytes(std::int64_t count, std::uint8_t seed) {
    Bytes bytes;
    std::uint32_t state = 0x9e3779b9U + seed;
    for (std::int64_t i = 0; i < count; ++i) {
        state = state * 1664525U + 1013904223U;
        bytes.push_back(static_cast<std::uint8_t>(state >> 24));
    }
    return bytes;
}

void delay(Outgoing& out, const FaultValue& value) {
    out.delay += std::chrono::milliseconds(value.number);
}

void withhold(Outgoing& out, const FaultValue&) {
    out.missing = true;
}

void truncate(Outgoing& out, const FaultValue& value) {
    out.bytes.resize(std::min(out.bytes.size(), static_cast<std::size_t>(value.number)));
}

void addBytes(Outgoing& out, const FaultValue& value) {
    const Bytes more = meaninglessBytes(value.number, extraSeed);
    out.bytes.insert(out.bytes.end(), more.begin(), more.end());
}

void replaceByGarbage(Outgoing& out, const FaultValue& value) {
    out.bytes = meaninglessBytes(value.number, garbageSeed);
}

void replace(Outgoing& out, const FaultValue& value) {
    out.bytes = value.bytes;
}

constexpr FaultKind faultKinds[] = {
    // Sent after the given time, or after one between the two that are given.
    {.name = "late", .parameter = {"ms", 1000, 0, maxDelayMs, "max_ms"}, .spoilMessage = delay},
    // Never sent; the command is carried out.
    {.name = "missing", .spoilMessage = withhold},
    // Answered with the given status and no data; the command is not carried out.
    {.name = "refused", .parameter = {"status", 1, 1, maxByte}, .refuses = true, .spoilReply = refuse},
    // A message of the given category.
    {.name = "category", .parameter = {"category", 2, 0, maxByte}, .spoilReply = changeCategory},
    // Without the response element.
    {.name = "no_response", .spoilReply = leaveOutResponse},
    // Only the message's first bytes.
    {.name = "truncated", .parameter = {"bytes", 6, 0, maxBytes}, .spoilMessage = truncate},
    // Only the first bytes of the data after the status, in a consistent message.
    {.name = "short", .parameter = {"bytes", 0, 0, maxBytes}, .spoilReply = shortenData},
    // The page's index is moved.
    {.name = "index", .parameter = {"by", 1, -maxByte, maxByte}, .hitsPage = anyPage, .spoilReply = moveIndex},
    // The page's count is above the asked maximum.
    {.name = "too_many", .parameter = {"by", 1, 1, maxByte}, .hitsPage = canExceed, .spoilReply = exceedMaximum},
    // The list is rebuilt between two of its pages.
    {.name = "list_id", .parameter = {"by", 1, 1, maxByte}, .hitsPage = isLaterPage, .rebuildsList = true},
    // More bytes follow the message.
    {.name = "extra", .parameter = {"bytes", 8, 1, maxBytes}, .spoilMessage = addBytes},
    // Bytes without meaning instead of the message.
    {.name = "garbage", .parameter = {"bytes", 40, 0, maxBytes}, .spoilMessage = replaceByGarbage},
    // The given bytes instead of the message; the command is carried out.
    {.name = "reply", .parameter = {.key = "hex", .high = maxReply, .isBytes = true}, .spoilMessage = replace},
};

} // namespace

const CommandInfo* RequestInfo::page() const {
    const CommandInfo* info = findCommand(command);
    return info != nullptr && info->entrySize > 0 && data.size() == info->dataSize ? info : nullptr;
}

Message Reply::message() const {
    Message made = makeReply(status, data);
    made.category = category;
    if (!hasResponse) {
        made.elements.erase(made.elements.begin());
    }
    return made;
}

const FaultKind* findFaultKind(std::string_view name) {
    const auto found = std::find_if(std::begin(faultKinds), std::end(faultKinds),
                                    [&](const FaultKind& kind) { return name == kind.name; });
    return found == std::end(faultKinds) ? nullptr : found;
}

} // namespace zvcamera
