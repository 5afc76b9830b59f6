// Text put together piece by piece in a buffer of fixed size. Internal.
#pragma once

#include <climits>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace zv {

class Text {
public:
    // Nothing is written into a buffer of size 0.
    Text(char* buffer, std::uint32_t size) : buffer_(buffer), size_(size) {}

    // Appends a piece by a bounded formatted write; what no longer fits is counted, not written.
    __attribute__((format(printf, 2, 3))) void put(const char* fmt, ...) {
        const std::size_t room = length_ < size_ ? static_cast<std::size_t>(size_ - length_) : 0;
        std::va_list args;
        va_start(args, fmt);
        const int piece = std::vsnprintf(room > 0 ? buffer_ + (size_ - room) : nullptr, room, fmt, args);
        va_end(args);
        length_ += piece > 0 ? static_cast<std::uint64_t>(piece) : 0;
    }

    // Characters of the whole text, whether they fitted or not; INT_MAX for more than that.
    int length() const { return resultOf(length_); }
    static constexpr int resultOf(std::uint64_t length) {
        return length < INT_MAX ? static_cast<int>(length) : INT_MAX;
    }

private:
    char* buffer_;
    std::uint32_t size_;
    std::uint64_t length_ = 0; // so wide that it never wraps back to the start of the buffer
};

inline char printable(std::uint8_t byte) {
    return byte >= 32 && byte <= 126 ? static_cast<char>(byte) : '.';
}

} // namespace zv
