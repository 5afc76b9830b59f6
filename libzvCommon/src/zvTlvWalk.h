// Bounded walk over the elements of a TLV message. Internal.
#pragma once

#include "zvTlv.h"

#include <cstdint>

namespace zv {

// The total length in a message's header.
inline std::uint32_t tlvLength(const std::uint8_t* buffer) {
    return static_cast<std::uint32_t>(buffer[0]) << 8 | buffer[1];
}

struct Element {
    std::uint8_t* address = nullptr; // of its header; null: no such element
    std::uint16_t length = 0;        // bytes of data, by its header
    std::uint32_t room = 0;          // bytes of the message behind its header

    std::uint8_t* data() const { return address + ZVTLV_HEADER_SIZE; }
    // True when the end of the message cuts the data off.
    bool cut() const { return length > room; }
    // Bytes of data that lie in the message.
    std::uint32_t present() const { return cut() ? room : length; }
};

// Goes from element to element of a message of total bytes; ends before a header that does not lie inside it.
class ElementWalk {
public:
    ElementWalk(std::uint8_t* buffer, int total)
        : buffer_(buffer),
          total_(total > ZVTLV_HEADER_SIZE ? static_cast<std::uint32_t>(total) : ZVTLV_HEADER_SIZE) {}

    // The next element; one without address when there is none.
    Element next();
    // True when the elements so far end exactly where the message ends.
    bool atEnd() const { return offset_ == total_; }

private:
    std::uint8_t* buffer_;
    std::uint32_t total_;
    std::uint32_t offset_ = ZVTLV_HEADER_SIZE;
};

// The first element with the tag in a message of total bytes; one without address when there is none.
Element findElement(std::uint8_t* buffer, int total, std::uint8_t tag);

} // namespace zv
