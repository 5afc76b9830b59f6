// The BLE configuration (its one setting is auto-connect) and the start of a scan.
#include "bleCommands.h"
#include "bleLink.h"
#include "bleLog.h"
#include "bleQuery.h"
#include "bleRequest.h"
#include "bleResponse.h"
#include "command_ble.h"
#include "zvErrno.h"

#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>

namespace {

constexpr int configurationSize = 1; // bytes of the daemon's answer

int setConfiguration(const std::string& value) {
    int autoConnect = 0;
    if (const int result = readInteger(value, "Error parsing auto_connect parameter [%s]", autoConnect);
        result != ZV_OK) {
        return result;
    }
    // Fixed: the daemon reads the value from the third byte and expects 0 in the second.
    std::uint8_t data[] = {codeOf(BleCommand::SetConfiguration), 0, static_cast<std::uint8_t>(autoConnect)};
    const int result = exchangeAndCheck(serialiseCommand(data));
    if (result != ZV_OK) {
        BLE_LOG(UTIL_LOG_ERROR, "auto_connect=%d command failed", autoConnect);
    }
    return result;
}

// Fixed: readers of the log expect this second line, although no parameter is wrong.
int answerFailed(const char* query) {
    BLE_LOG(UTIL_LOG_ERROR, "Failed to parse parameters in %s", query);
    return ZV_ERR;
}

int getConfiguration(const char* query, char* response, int responseSize) {
    std::uint8_t data[] = {codeOf(BleCommand::GetConfiguration)};
    std::uint16_t length = 0;
    const int result = exchangeForData(serialiseCommand(data), length);
    if (result != ZV_OK) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed to get proper response for get ble config: %d", result);
        return result;
    }
    if (length != configurationSize) {
        BLE_LOG(UTIL_LOG_ERROR, "Expected %d bytes of response to command, got %d", configurationSize, length);
        return answerFailed(query);
    }
    char text[32];
    std::snprintf(text, sizeof text, "\n{\"auto_connect\":%u}\n", ble_msg_buffer[0]);
    return writeResponse(text, response, responseSize) == ZV_OK ? ZV_OK : answerFailed(query);
}

} // namespace

int ble_configure(const char* params, char* response, int responseSize) try {
    const char* const query = queryText(params);
    std::string value;
    if (parseParam(query, "auto_connect=", value) != 0) {
        return setConfiguration(value);
    }
    if (*query != '\0') {
        BLE_LOG(UTIL_LOG_ERROR, "Failed to parse parameters in %s", query);
        return ZV_ERR_INVALID_PARAM;
    }
    return getConfiguration(query, response, responseSize);
} catch (const std::exception&) {
    return ZV_ERR_OUTOFMEM;
}

int ble_scan(const char* params, char*, int) try {
    std::string value;
    if (const int result = readRequired(params, "p=", value); result != ZV_OK) {
        return result;
    }
    int scan = 0;
    if (const int result = readInteger(value, "Error parsing p parameter [%s]", scan); result != ZV_OK) {
        return result;
    }
    std::uint8_t data[] = {codeOf(BleCommand::Scan), static_cast<std::uint8_t>(scan)};
    const int result = exchangeAndCheck(serialiseCommand(data));
    if (result != ZV_OK) {
        BLE_LOG(UTIL_LOG_ERROR, "ble_scan p=%d command failed", scan);
    }
    return result;
} catch (const std::exception&) {
    return ZV_ERR_OUTOFMEM;
}
