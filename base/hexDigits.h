// Hexadecimal digits.
#pragma once

#include <cstdint>
#include <string>

namespace zv {

// The value of a hexadecimal digit of either case; -1 for any other character.
constexpr int hexDigitValue(char digit) {
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    if (digit >= 'a' && digit <= 'f') {
        return digit - 'a' + 10;
    }
    if (digit >= 'A' && digit <= 'F') {
        return digit - 'A' + 10;
    }
    return -1;
}

// Appends a byte as two digits in lower case.
inline void appendHex(std::string& text, std::uint8_t byte) {
    constexpr char digits[] = "0123456789abcdef";
    text += digits[byte >> 4];
    text += digits[byte & 15];
}

} // namespace zv
