#include "zvHexdump.h"

#include "zvText.h"

#include <cstdint>
#include <cstring>

namespace {

constexpr std::uint32_t lineBytes = 16;
constexpr std::uint32_t groupBytes = 4;

// The memory that is dumped, in lines of 16 slots. The first line starts lead bytes before the memory.
struct Range {
    const std::uint8_t* bytes;
    std::uint32_t length;
    std::uint32_t lead;

    // Slots are counted from the start of the first line.
    std::uint64_t end() const { return std::uint64_t{lead} + length; }
    bool holds(std::uint64_t slot) const { return slot >= lead && slot < end(); }
    std::uint8_t at(std::uint64_t slot) const { return bytes[slot - lead]; }
};

// True when the line at start repeats the one before it. A line that is not whole repeats none.
bool repeats(const Range& range, std::uint64_t start) {
    return start >= lineBytes && range.holds(start - lineBytes) && range.holds(start + lineBytes - 1) &&
           std::memcmp(&range.bytes[start - range.lead], &range.bytes[start - lineBytes - range.lead], lineBytes) == 0;
}

void putLine(zv::Text& text, const Range& range, std::uint64_t start, std::uint32_t label, const char* prefix) {
    text.put("%s%0*X", prefix, 8, label);
    text.put("  ");
    for (std::uint64_t slot = start; slot < start + lineBytes; ++slot) {
        if (range.holds(slot)) {
            text.put("%0*X", 2, unsigned{range.at(slot)});
        } else {
            text.put("  ");
        }
        text.put((slot - start) % groupBytes == groupBytes - 1 ? "  " : " ");
    }
    for (std::uint64_t slot = start; slot < start + lineBytes; ++slot) {
        text.put("%c", range.holds(slot) ? zv::printable(range.at(slot)) : ' ');
    }
    text.put("\n");
}

} // namespace

int _snhexdump(char* buffer, std::uint32_t size, const void* address, std::uint32_t length, int aligned,
               const char* prefix) {
    zv::Text text(buffer, size);
    if (length == 0) {
        text.put("%p\n", address);
        return text.length();
    }
    const auto place = reinterpret_cast<std::uintptr_t>(address);
    const std::uint32_t lead = aligned != 0 ? static_cast<std::uint32_t>(place % lineBytes) : 0;
    const Range range{static_cast<const std::uint8_t*>(address), length, lead};
    const auto firstLabel = aligned != 0 ? static_cast<std::uint32_t>(place - lead) : 0;

    bool skipped = false;
    for (std::uint64_t start = 0; start < range.end(); start += lineBytes) {
        if (repeats(range, start)) {
            skipped = true;
            continue;
        }
        if (skipped) {
            text.put("...%s", "\n");
            skipped = false;
        }
        putLine(text, range, start, firstLabel + static_cast<std::uint32_t>(start), prefix != nullptr ? prefix : "");
    }
    return text.length();
}

int snhexdump(char* buffer, std::uint32_t size, const void* address, std::uint32_t length, const char* prefix) {
    return _snhexdump(buffer, size, address, length, 1, prefix);
}

int snhexdump0(char* buffer, std::uint32_t size, const void* address, std::uint32_t length, const char* prefix) {
    return _snhexdump(buffer, size, address, length, 0, prefix);
}
