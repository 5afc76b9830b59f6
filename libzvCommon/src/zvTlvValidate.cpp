#include "zvTlv.h"
#include "zvTlvWalk.h"

#include <cstdint>

namespace {

constexpr int noEndMarker = -1;
constexpr int unbalanced = -2;
constexpr int unbalancedElse = -3;
constexpr std::uint8_t lastAnsweredType = 13;

bool has(std::uint8_t* buffer, std::uint8_t tag) {
    return tlv_find(buffer, tag) != nullptr;
}

// Fixed: messages of the odd types up to 13 carry a response beside the payload; callers know the results by it.
bool expectsResponse(std::uint8_t type) {
    return type <= lastAnsweredType && type % 2 == 1;
}

int unbalancedResult(std::uint8_t* buffer) {
    const bool response = has(buffer, ZVTLV_RSP);
    return has(buffer, ZVTLV_DATA) && response == expectsResponse(buffer[3]) ? unbalanced : unbalancedElse;
}

} // namespace

int tlv_validate(std::uint8_t* buffer) {
    const int total = sntlv_msg_len(buffer);
    if (total <= ZVTLV_HEADER_SIZE || buffer[total - 1] != ZVTLV_TAIL) {
        return noEndMarker;
    }
    zv::ElementWalk walk(buffer, total);
    for (zv::Element element = walk.next(); element.address != nullptr; element = walk.next()) {
        if (element.address[3] == ZVTLV_TAIL) {
            return element.length == 0 && element.room == 0 ? 0 : noEndMarker;
        }
    }
    // The last byte looks like an end marker, but belongs to no such element: it is data of the last element, or a
    // length is wrong.
    return walk.atEnd() ? noEndMarker : unbalancedResult(buffer);
}
