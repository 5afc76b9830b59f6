#include "zvTlv.h"

#include "zvReport.h"
#include "zvText.h"
#include "zvTlvWalk.h"

#include <cstdarg>
#include <cstdint>
#include <cstring>

namespace {

constexpr const char* modulePath = "libzvCommon/src/zvTlv";
constexpr std::uint8_t blanked = 'W';

// Fixed: readers of the reports find the failed check by its line.
constexpr int blankLine = 221;
constexpr int removeLine = 238;

void putLength(std::uint8_t* at, std::uint32_t length) {
    at[0] = static_cast<std::uint8_t>(length >> 8);
    at[1] = static_cast<std::uint8_t>(length);
}

// Fixed: an element may end 4 bytes behind the capacity; callers give the room behind the message header as capacity.
// The sum has 64 bits: a length near 2^32 would wrap in 32 bits, and the element would seem to fit.
bool fits(std::uint32_t total, std::uint32_t length, std::uint32_t capacity) {
    return std::uint64_t{total} + length <= capacity;
}

// Writes the element's header at the message's end. The caller has read total before: in a message that claims to be
// shorter than its header, the element overwrites the length.
void writeElementHeader(std::uint8_t* buffer, std::uint32_t total, std::uint8_t tag, std::uint32_t length) {
    std::uint8_t* const element = buffer + total;
    element[0] = 0;
    putLength(element + 1, length);
    element[3] = tag;
}

// Adds the element to the total length and returns its size.
// Fixed: both are cut to 16 bits; callers bind to the width of the field and of the result.
int finishElement(std::uint8_t* buffer, std::uint32_t total, std::uint32_t length) {
    putLength(buffer, total + length + ZVTLV_HEADER_SIZE);
    return static_cast<std::int16_t>(length + ZVTLV_HEADER_SIZE);
}

} // namespace

int sntlv_msg_init(std::uint8_t* buffer, std::uint32_t /*capacity*/, std::uint8_t type) {
    putLength(buffer, ZVTLV_HEADER_SIZE);
    buffer[2] = 0;
    buffer[3] = type;
    return ZVTLV_HEADER_SIZE;
}

int sntlv_msg_len(const std::uint8_t* buffer) {
    return static_cast<std::int16_t>(zv::tlvLength(buffer));
}

int sntlv_add_bin(std::uint8_t* buffer, std::uint32_t capacity, std::uint8_t tag, std::uint32_t length,
                  const void* data) {
    const std::uint32_t total = zv::tlvLength(buffer);
    if (!fits(total, length, capacity)) {
        return 0;
    }
    writeElementHeader(buffer, total, tag, length);
    if (length > 0) {
        std::memcpy(buffer + total + ZVTLV_HEADER_SIZE, data, length);
    }
    return finishElement(buffer, total, length);
}

int sntlv_add_dat(std::uint8_t* buffer, std::uint32_t capacity, std::uint8_t tag, std::uint32_t length, ...) {
    const std::uint32_t total = zv::tlvLength(buffer);
    if (!fits(total, length, capacity)) {
        return 0;
    }
    writeElementHeader(buffer, total, tag, length);
    std::uint8_t* const data = buffer + total + ZVTLV_HEADER_SIZE;
    std::va_list args;
    va_start(args, length);
    for (std::uint32_t done = 0; done < length;) {
        const unsigned value = va_arg(args, unsigned);
        const std::uint32_t part = length - done < sizeof value ? length - done : std::uint32_t{sizeof value};
        std::memcpy(data + done, &value, part);
        done += part;
    }
    va_end(args);
    return finishElement(buffer, total, length);
}

std::uint8_t* tlv_find(std::uint8_t* buffer, std::uint8_t tag) {
    return zv::findElement(buffer, sntlv_msg_len(buffer), tag).address;
}

int sntlv_find(void* destination, std::uint32_t destinationSize, std::uint8_t tag, std::uint8_t* buffer) {
    const zv::Element element = zv::findElement(buffer, sntlv_msg_len(buffer), tag);
    if (element.address == nullptr || element.cut() || element.length >= destinationSize) {
        return 0;
    }
    if (element.length > 0) {
        std::memcpy(destination, element.data(), element.length);
    }
    return element.length;
}

void sntlv_void(std::uint8_t* buffer, std::uint8_t tag) {
    const zv::Element element = zv::findElement(buffer, sntlv_msg_len(buffer), tag);
    if (element.address == nullptr) {
        zv::assertFailed(modulePath, "sntlv_void", blankLine, "tlv != NULL");
    }
    element.address[0] = blanked;
    std::memset(element.data(), 0, element.present());
}

// Fixed: no byte is moved, so a removed element takes what follows it along; callers remove the end marker only.
int sntlv_remove(std::uint8_t* buffer, std::uint32_t /*capacity*/, std::uint8_t tag) {
    const zv::Element element = zv::findElement(buffer, sntlv_msg_len(buffer), tag);
    if (element.address == nullptr) {
        zv::assertFailed(modulePath, "sntlv_remove", removeLine, "tlvend != NULL");
    }
    const std::uint32_t size = element.present() + ZVTLV_HEADER_SIZE;
    putLength(buffer, zv::tlvLength(buffer) - size);
    return -static_cast<int>(size);
}

int snLoclItoI(char* destination, std::uint32_t size, int count, std::uint32_t value) {
    if (count < 1 || count > 4) {
        return 0;
    }
    // The text counts all bytes, and stores only those that fit.
    zv::Text text(destination, size);
    for (int shift = 8 * (count - 1); shift >= 0; shift -= 8) {
        text.put("%c", static_cast<std::uint8_t>(value >> shift));
    }
    return text.length();
}

int snLoclbin(void* destination, std::uint32_t destinationSize, std::uint32_t length, const void* source) {
    if (length > destinationSize) {
        return 0;
    }
    if (length > 0) {
        std::memcpy(destination, source, length);
    }
    return static_cast<int>(length);
}
