#include "deviceAddress.h"

#include "hexDigits.h"
#include "zvErrno.h"

#include <algorithm>
#include <cstddef>

namespace {

constexpr std::size_t digits = std::size_t{BLE_ADDRESS_SIZE} * 2;

} // namespace

int parse_device_address(const std::string& text, std::uint8_t* address) {
    if (text.empty()) {
        return ZV_ERR_INVALID_PARAM;
    }
    char cells[digits];
    std::fill(cells, cells + digits, '0');
    const std::size_t used = std::min(text.size(), digits);
    text.copy(cells + (digits - used), used, text.size() - used);

    std::uint8_t parsed[BLE_ADDRESS_SIZE];
    for (std::size_t i = 0; i < BLE_ADDRESS_SIZE; ++i) {
        const int high = zv::hexDigitValue(cells[2 * i]);
        const int low = zv::hexDigitValue(cells[2 * i + 1]);
        if (high < 0 || low < 0) {
            return ZV_ERR_INVALID_PARAM;
        }
        parsed[BLE_ADDRESS_SIZE - 1 - i] = static_cast<std::uint8_t>(high * 16 + low);
    }
    std::copy(parsed, parsed + BLE_ADDRESS_SIZE, address);
    return ZV_OK;
}

std::string ble_address_text(const std::uint8_t* address) {
    std::string text;
    for (int i = BLE_ADDRESS_SIZE - 1; i >= 0; --i) {
        zv::appendHex(text, address[i]);
    }
    return text;
}
