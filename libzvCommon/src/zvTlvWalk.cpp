#include "zvTlvWalk.h"

#include <cstdint>

namespace zv {

Element ElementWalk::next() {
    // A wrong length may have led the offset past the end, by 65539 bytes at most: the comparison does not wrap.
    if (offset_ >= total_ || total_ - offset_ < ZVTLV_HEADER_SIZE) {
        return {};
    }
    Element element;
    element.address = buffer_ + offset_;
    element.length = static_cast<std::uint16_t>(element.address[1] << 8 | element.address[2]);
    element.room = total_ - offset_ - ZVTLV_HEADER_SIZE;
    offset_ += element.length + std::uint32_t{ZVTLV_HEADER_SIZE};
    return element;
}

Element findElement(std::uint8_t* buffer, int total, std::uint8_t tag) {
    ElementWalk walk(buffer, total);
    for (Element element = walk.next(); element.address != nullptr; element = walk.next()) {
        if (element.address[3] == tag) {
            return element;
        }
    }
    return {};
}

} // namespace zv
