#include "listEntry.h"

#include "hexDigits.h"

#include <cstddef>

void appendName(std::string& text, BleEntry entry, std::uint8_t offset, std::uint8_t size) {
    if (offset == 0) {
        return;
    }
    for (std::size_t i = 0; i < size && offset + i < entry.size() && entry[offset + i] != 0; ++i) {
        text += static_cast<char>(entry[offset + i]);
    }
}

std::string uuidItems(BleEntry entry, std::uint8_t offset, std::uint8_t length, int width) {
    std::string items;
    if (offset == 0) {
        return items;
    }
    const auto step = static_cast<std::size_t>(width);
    for (std::size_t position = 0; position < length; position += step) {
        const std::size_t start = offset + position;
        if (start + step > entry.size()) {
            break;
        }
        items += items.empty() ? "\"" : ",\"";
        for (const std::uint8_t byte : entry.subspan(start, step)) {
            zv::appendHex(items, byte);
        }
        items += '"';
    }
    return items;
}
