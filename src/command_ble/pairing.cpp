// Pairing of one BLE device: start, cancel and status.
#include "bleCommands.h"
#include "bleLink.h"
#include "bleLog.h"
#include "bleQuery.h"
#include "bleRequest.h"
#include "bleResponse.h"
#include "command_ble.h"
#include "deviceAddress.h"
#include "zvErrno.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>

namespace {

// Command code, address (6 bytes, last octet first), address type.
using PairBlock = std::array<std::uint8_t, 8>;
constexpr std::size_t addressAt = 1;
constexpr std::size_t addressTypeAt = 7;

constexpr int statusSize = 1; // bytes of the daemon's answer

int readAddressType(const char* params, PairBlock& block) {
    std::string value;
    if (!findParameter(params, "address_type=", value)) {
        return ZV_OK;
    }
    int type = 0;
    if (const int result = readInteger(value, "Error parsing address_type parameter [%s]", type); result != ZV_OK) {
        return result;
    }
    block[addressTypeAt] = static_cast<std::uint8_t>(type);
    return ZV_OK;
}

int readDevice(const char* params, PairBlock& block) {
    std::string value;
    if (!findParameter(params, "device=", value)) {
        // Fixed: readers of the log expect the parameter's name from the start alone.
        if (block[0] == codeOf(BleCommand::PairStart)) {
            BLE_LOG(UTIL_LOG_ERROR, "Failed to parse required param device=");
        }
        BLE_LOG(UTIL_LOG_ERROR, "Failed to parse parameters in %s", shownQuery(params));
        return ZV_ERR_INVALID_PARAM;
    }
    return readAddress(value, params, block.data() + addressAt);
}

int readBlock(const char* params, PairBlock& block) {
    // Fixed: readers of the log find the address type there when both parameters are bad.
    if (const int result = readAddressType(params, block); result != ZV_OK) {
        return result;
    }
    return readDevice(params, block);
}

// Carries out a pair start or cancel. complaint: the log line of a refusal, whose %s takes the query.
int pair(BleCommand command, const char* complaint, const char* params) {
    PairBlock block{codeOf(command)};
    if (const int result = readBlock(params, block); result != ZV_OK) {
        return result;
    }
    const int result = exchangeAndCheck(serialiseCommand(block));
    if (result != ZV_OK) {
        BLE_LOG(UTIL_LOG_ERROR, complaint, shownQuery(params));
    }
    return result;
}

} // namespace

int ble_pair_start(const char* params, char*, int) try {
    return pair(BleCommand::PairStart, "ble_pair_start %s command failed", params);
} catch (const std::exception&) {
    return ZV_ERR_OUTOFMEM;
}

int ble_pair_cancel(const char* params, char*, int) try {
    return pair(BleCommand::PairCancel, "ble_pair_cancel %s command failed", params);
} catch (const std::exception&) {
    return ZV_ERR_OUTOFMEM;
}

int ble_pair_status(const char*, char* response, int responseSize) try {
    std::uint8_t data[] = {codeOf(BleCommand::PairStatus)};
    std::uint16_t length = 0;
    const int result = exchangeForData(serialiseCommand(data), length);
    if (result != ZV_OK) {
        BLE_LOG(UTIL_LOG_ERROR, "ble_pair_status command failed");
        return result;
    }
    if (length != statusSize) {
        BLE_LOG(UTIL_LOG_ERROR, "Expected 1 bytes in response, got %d", length);
        return ZV_ERR;
    }
    char text[32];
    std::snprintf(text, sizeof text, "\n{\"pairing_status\":%u}\n", ble_msg_buffer[0]);
    return writeResponse(text, response, responseSize);
} catch (const std::exception&) {
    return ZV_ERR_OUTOFMEM;
}
