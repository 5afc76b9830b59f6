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
    Message message;     // what could be read, up to the first fault
    std::string problem; // empty for a well-formed message, else the first fault in words
};

// Reads a message; nothing beyond the given bytes is ever looked at.
DecodedMessage decodeMessage(ByteSpan bytes);

// The bytes of a message. A length above 65535 is cut to its low 16 bits in the headers, not in the bytes.
Bytes encodeMessage(const Message& message);

// A reply: category 3, the response element {status, data...}, the tail.
Message makeReply(std::uint8_t status, ByteSpan data = {});

std::string toHex(ByteSpan bytes); // lower case, two digits a byte, no separators
// The bytes of a hex text; throws std::invalid_argument for anything else.
Bytes fromHex(std::string_view text);

} // namespace zvcamera
