// Text put together piece by piece in a buffer of fixed size. Internal.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstdio>

namespace zv {

class Text {
public:
    // Nothing is written into a buffer of size 0.
    Text(char* buffer, uint32_t size) : buffer_(buffer), size_(size) {}

    // Appends a piece by a bounded formatted write; what no longer fits is counted, not written.
    __attribute__((format(printf, 2, 3))) void put(const char* fmt, ...) {
        const bool room = length_ < size_;
        std::va_list args;
        va_start(args, fmt);
        const int piece =
            std::vsnprintf(room ? buffer_ + length_ : nullptr, room ? size_ - length_ : 0, fmt, args);
        va_end(args);
        length_ += piece > 0 ? static_cast<uint32_t>(piece) : 0;
    }

    // Characters of the whole text, whether they fitted or not.
    int length() const { return static_cast<int>(length_); }

private:
    char* buffer_;
    uint32_t size_;
    uint32_t length_ = 0;
};

inline char printable(uint8_t byte) {
    return byte >= 32 && byte <= 126 ? static_cast<char>(byte) : '.';
}

} // namespace zv
