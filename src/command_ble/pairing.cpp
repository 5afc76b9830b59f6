// Pairing of one BLE device: start, cancel and status.
#include "bleCommand.h"
#include "bleLink.h"
#include "bleLog.h"
#include "bleQuery.h"
#include "bleReply.h"
#include "command_ble.h"
#include "deviceAddress.h"
#include "zvErrno.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <string>

namespace {

constexpr std::uint8_t commandPairStart = 2;
constexpr std::uint8_t commandPairCancel = 3;
constexpr std::uint8_t commandPairStatus = 9;

// Command code, address (6 bytes, last octet first), address type.
using PairBlock = std::array<std::uint8_t, 8>;

int readAddressType(const char* query, PairBlock& block) {
    std::string value;
    if (parseParam(query, "address_type=", value) == 0) {
        return ZV_OK;
    }
    int type = 0;
    if (!ble_parse_integer(value, type)) {
        BLE_LOG(UTIL_LOG_ERROR, "Error parsing address_type parameter [%s]", value.c_str());
        return ZV_ERR_INVALID_PARAM;
    }
    block[7] = static_cast<std::uint8_t>(type);
    return ZV_OK;
}

int readDevice(const char* query, PairBlock& block) {
    std::string value;
    if (parseParam(query, "device=", value) == 0) {
        // Only the start names the parameter, deliberately: it is part of the interface.
        if (block[0] == commandPairStart) {
            BLE_LOG(UTIL_LOG_ERROR, "Failed to parse required param device=");
        }
        BLE_LOG(UTIL_LOG_ERROR, "Failed to parse parameters in %s", query);
        return ZV_ERR_INVALID_PARAM;
    }
    if (parse_device_address(value, block.data() + 1) != ZV_OK) {
        // The whole query, not the value alone, deliberately: it is part of the interface.
        BLE_LOG(UTIL_LOG_ERROR, "Failed to parse device address from %s", query);
        return ZV_ERR_INVALID_PARAM;
    }
    return ZV_OK;
}

// Sends a pair start or cancel. The address type is looked at first: when both parameters are bad, it is the one that
// the log names.
int pair(std::uint8_t command, const char* query) {
    PairBlock block{};
    block[0] = command;
    if (const int result = readAddressType(query, block); result != ZV_OK) {
        return result;
    }
    if (const int result = readDevice(query, block); result != ZV_OK) {
        return result;
    }
    const std::uint16_t reply_length = ble_exchange(ble_serialise_command(block));
    return ble_check_response(ble_msg_buffer, reply_length);
}

} // namespace

int ble_pair_start(const char* params, char*, int) {
    const char* const query = ble_query_text(params);
    const int result = pair(commandPairStart, query);
    if (result == ZV_ERR) {
        BLE_LOG(UTIL_LOG_ERROR, "ble_pair_start %s command failed", query);
    }
    return result;
}

int ble_pair_cancel(const char* params, char*, int) {
    const char* const query = ble_query_text(params);
    const int result = pair(commandPairCancel, query);
    if (result == ZV_ERR) {
        BLE_LOG(UTIL_LOG_ERROR, "ble_pair_cancel %s command failed", query);
    }
    return result;
}

int ble_pair_status(const char*, char* response, int response_size) {
    std::uint8_t data[] = {commandPairStatus};
    const std::uint16_t reply_length = ble_exchange(ble_serialise_command(data));
    std::uint16_t length = BLE_MSG_SIZE;
    const int result = ble_get_response_data(ble_msg_buffer, reply_length, ble_msg_buffer, &length);
    if (result != ZV_OK) {
        BLE_LOG(UTIL_LOG_ERROR, "ble_pair_status command failed");
        return result;
    }
    if (length != 1) {
        BLE_LOG(UTIL_LOG_ERROR, "Expected 1 bytes in response, got %d", length);
        return ZV_ERR;
    }
    char text[32];
    std::snprintf(text, sizeof text, "\n{\"pairing_status\":%u}\n", ble_msg_buffer[0]);
    return ble_write_response(text, response, response_size);
}
