/*
 * Messages of the camera's queues as the daemons see them.
 *
 * Bytes: header {total length, 2 bytes big-endian, the header included; 0; category}, then elements {0; data length, 2
 * bytes big-endian; tag; data}, the last of them the tail (tag 238, no data).
 */
#pragma once

#include "bytes.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zvcamera {

constexpr std::uint8_t tagCommand = 65;
constexpr std::uint8_t tagData = 66;
constexpr std::uint8_t tagDestination = 67;
constexpr std::uint8_t tagReplyQueue = 68;
constexpr std::uint8_t tagResponse = 69;
constexpr std::uint8_t tagTail = 238;
constexpr std::uint8_t categoryRequest = 2;
constexpr std::uint8_t categoryReply = 3;

struct Element {
    std::uint8_t tag = 0;
    Bytes data;

    std::string_view text() const { return {reinterpret_cast<const char*>(data.data()), data.size()}; }
    bool operator==(const Element&) const = default;
};

struct Message {
    std::uint8_t category = 0;
    std::vector<Element> elements;

    // The first element with the tag, or null.
    const Element* find(std::uint8_t tag) const;
    bool operator==(const Message&) const = default;
};

struct DecodedMessage {
    Message message;     // all that can be read before the first fault
    std::string problem; // empty for a well-formed message, else the first fault in words
};

// Reads a message, never past the end of the bytes.
DecodedMessage decodeMessage(ByteSpan bytes);

// The bytes of a message. A header holds the low 16 bits of a length; the bytes themselves are never cut.
Bytes encodeMessage(const Message& message);

// A reply: category 3, the response element {status, data...}, the tail.
Message makeReply(std::uint8_t status, ByteSpan data = {});

} // namespace zvcamera
