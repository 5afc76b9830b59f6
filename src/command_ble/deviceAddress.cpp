#include "deviceAddress.h"

#include "zvErrno.h"

#include <algorithm>
#include <cstddef>

namespace {

constexpr std::size_t digits = std::size_t{BLE_ADDRESS_SIZE} * 2;

int digitValue(char digit) {
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
        const int high = digitValue(cells[2 * i]);
        const int low = digitValue(cells[2 * i + 1]);
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
        ble_append_hex(text, address[i]);
    }
    return text;
}

void ble_append_hex(std::string& text, std::uint8_t byte) {
    static constexpr char alphabet[] = "0123456789abcdef";
    text += alphabet[byte >> 4];
    text += alphabet[byte & 15];
}
