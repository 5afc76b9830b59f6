#include "zvCtrlD.h"

#include <cstring>

MemStream::MemStream(unsigned char* buffer, unsigned short capacity)
    : buffer_(buffer),
      capacity_(buffer != nullptr ? capacity : static_cast<unsigned short>(0)) {}

unsigned char* MemStream::getBuffer() const {
    return buffer_;
}

unsigned short MemStream::getLength() const {
    return written_;
}

unsigned short MemStream::getUnread() const {
    return static_cast<unsigned short>(capacity_ - taken_);
}

unsigned short MemStream::getRoom() const {
    return static_cast<unsigned short>(capacity_ - written_);
}

bool MemStream::fail() const {
    return failed_;
}

void MemStream::setFail() {
    failed_ = true;
}

bool MemStream::write(const unsigned char* data, unsigned short length) {
    if (failed_ || length > getRoom() || (data == nullptr && length > 0)) {
        failed_ = true;
        return false;
    }
    if (length > 0) {
        std::memcpy(buffer_ + written_, data, length);
        written_ = static_cast<unsigned short>(written_ + length);
    }
    return true;
}

bool MemStream::read(unsigned char* data, unsigned short length) {
    if (data == nullptr && length > 0) {
        failed_ = true;
    }
    const unsigned char* from = take(length);
    if (failed_) {
        return false;
    }
    if (length > 0) {
        std::memcpy(data, from, length);
    }
    return true;
}

unsigned char* MemStream::take(unsigned short length) {
    if (failed_ || length > getUnread()) {
        failed_ = true;
        return nullptr;
    }
    // A stream over nothing has no address to add to.
    unsigned char* from = buffer_ != nullptr ? buffer_ + taken_ : nullptr;
    taken_ = static_cast<unsigned short>(taken_ + length);
    return from;
}

MemStream& operator<<(MemStream& stream, unsigned char byte) {
    stream.write(&byte, 1);
    return stream;
}

MemStream& operator>>(MemStream& stream, unsigned char& byte) {
    stream.read(&byte, 1);
    return stream;
}
