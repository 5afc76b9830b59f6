// Text that is joined from pieces in a buffer of fixed size. Internal.
#pragma once

#include <climits>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace zv {

class Text {
public:
    // A buffer of size 0 may be null: nothing is written to it.
    Text(char* buffer, std::uint32_t size) : buffer_(buffer), size_(size) {}

    // Appends a formatted piece. What does not fit is counted, not written.
    __attribute__((format(printf, 2, 3))) void put(const char* fmt, ...) {
        const std::size_t room = length_ < size_ ? static_cast<std::size_t>(size_ - length_) : 0;
        std::va_list args;
        va_start(args, fmt);
        const int piece = std::vsnprintf(room > 0 ? buffer_ + (size_ - room) : nullptr, room, fmt, args);
        va_end(args);
        length_ += piece > 0 ? static_cast<std::uint64_t>(piece) : 0;
    }

    // Characters of the whole text, those that did not fit included; INT_MAX for all larger numbers.
    int length() const { return resultOf(length_); }
    static constexpr int resultOf(std::uint64_t length) {
        return length < INT_MAX ? static_cast<int>(length) : INT_MAX;
    }

private:
    char* buffer_;
    std::uint32_t size_;
    std::uint64_t length_ = 0; // 64 bits: it must not wrap back to the start of the buffer
};

// The byte as a character column shows it: a dot for what is no printable ASCII character.
inline char printable(std::uint8_t byte) {
    return byte >= 32 && byte <= 126 ? static_cast<char>(byte) : '.';
}

} // namespace zv
