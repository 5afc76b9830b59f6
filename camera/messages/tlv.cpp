#include "tlv.h"

#include "cursor.h"

#include <algorithm>

namespace zvcamera {
namespace {

constexpr std::size_t headerSize = 4;

void put16(Bytes& out, std::size_t value) {
    out.push_back(static_cast<std::uint8_t>(value >> 8));
    out.push_back(static_cast<std::uint8_t>(value));
}

std::string checkTail(const Message& message) {
    if (message.elements.empty() || message.elements.back().tag != tagTail) {
        return "no tail at the end";
    }
    if (message.find(tagTail) != &message.elements.back()) {
        return "tail before the end";
    }
    return message.elements.back().data.empty() ? "" : "tail with data";
}

} // namespace

const Element* Message::find(std::uint8_t tag) const {
    const auto found =
        std::find_if(elements.begin(), elements.end(), [tag](const Element& element) { return element.tag == tag; });
    return found == elements.end() ? nullptr : &*found;
}

DecodedMessage decodeMessage(ByteSpan bytes) {
    DecodedMessage decoded;
    Cursor cursor(bytes);
    const std::uint16_t total = cursor.big16();
    cursor.byte();
    decoded.message.category = cursor.byte();
    if (cursor.overrun()) {
        decoded.problem = "shorter than a message header";
        return decoded;
    }
    while (cursor.left() > 0) {
        cursor.byte();
        const std::uint16_t length = cursor.big16();
        Element element;
        element.tag = cursor.byte();
        const ByteSpan data = cursor.take(length);
        if (cursor.overrun()) {
            decoded.problem = "element cut short";
            return decoded;
        }
        element.data.assign(data.begin(), data.end());
        decoded.message.elements.push_back(std::move(element));
    }
    if (total != bytes.size()) {
        decoded.problem = "header says " + std::to_string(total) + " bytes, got " + std::to_string(bytes.size());
        return decoded;
    }
    decoded.problem = checkTail(decoded.message);
    return decoded;
}

Bytes encodeMessage(const Message& message) {
    std::size_t total = headerSize;
    for (const Element& element : message.elements) {
        total += headerSize + element.data.size();
    }
    Bytes out;
    out.reserve(total);
    put16(out, total);
    out.push_back(0);
    out.push_back(message.category);
    for (const Element& element : message.elements) {
        out.push_back(0);
        put16(out, element.data.size());
        out.push_back(element.tag);
        out.insert(out.end(), element.data.begin(), element.data.end());
    }
    return out;
}

Message makeReply(std::uint8_t status, ByteSpan data) {
    Element response{tagResponse, {status}};
    response.data.insert(response.data.end(), data.begin(), data.end());
    return {categoryReply, {std::move(response), {tagTail, {}}}};
}

} // namespace zvcamera
