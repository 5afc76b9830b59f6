#include "deviceAddress.h"

#include "hexDigits.h"
#include "zvErrno.h"

#include <algorithm>
#include <cstddef>

namespace {

constexpr std::size_t digits = std::size_t{bleAddressSize} * 2;

} // namespace

int parse_device_address(const std::string& text, std::uint8_t* address) {
    if (text.empty()) {
        return ZV_ERR_INVALID_PARAM;
    }
    char cells[digits];
    std::fill(cells, cells + digits, '0');
    const std::size_t used = std::min(text.size(), digits);
    text.copy(cells + (digits - used), used, text.size() - used);

    std::uint8_t parsed[bleAddressSize];
    for (std::size_t i = 0; i < bleAddressSize; ++i) {
        const int high = zv::hexDigitValue(cells[2 * i]);
        const int low = zv::hexDigitValue(cells[2 * i + 1]);
        if (high < 0 || low < 0) {
            return ZV_ERR_INVALID_PARAM;
        }
        parsed[bleAddressSize - 1 - i] = static_cast<std::uint8_t>(high * 16 + low);
    }
    std::copy(parsed, parsed + bleAddressSize, address);
    return ZV_OK;
}

std::string addressText(const std::uint8_t* address) {
    std::string text;
    for (int i = bleAddressSize - 1; i >= 0; --i) {
        zv::appendHex(text, address[i]);
    }
    return text;
}
