// Changing one entry of the whitelist: removal, or the automatic connection to it.
#include "bleCommands.h"
#include "bleLog.h"
#include "bleQuery.h"
#include "bleRequest.h"
#include "command_ble.h"
#include "deviceAddress.h"
#include "zvErrno.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>

namespace {

constexpr std::uint8_t operationRemove = 0;
constexpr std::uint8_t operationAutoConnect = 4;

// Command code, operation, its argument, address (6 bytes, last octet first).
using ConfigureBlock = std::array<std::uint8_t, 9>;
constexpr std::size_t operationAt = 1;
constexpr std::size_t argumentAt = 2;
constexpr std::size_t addressAt = 3;

int readDevice(const char* params, ConfigureBlock& block) {
    std::string value;
    if (const int result = readRequired(params, "device=", value); result != ZV_OK) {
        return result;
    }
    return readAddress(value, params, block.data() + addressAt);
}

int readRemove(const char* params, ConfigureBlock& block, bool& given) {
    std::string value;
    if (!findParameter(params, "remove=", value)) {
        return ZV_OK;
    }
    int remove = 0;
    if (const int result = readInteger(value, "Invalid parameter to remove= [%s]", remove); result != ZV_OK) {
        return result;
    }
    if (remove != 1) {
        // Fixed: clients must not take 0 for a way to keep the entry; readers of the log see no line for it.
        return ZV_ERR_INVALID_PARAM;
    }
    block[operationAt] = operationRemove;
    block[argumentAt] = 0;
    given = true;
    return ZV_OK;
}

int readAutoConnect(const char* params, ConfigureBlock& block, bool& given) {
    std::string value;
    if (!findParameter(params, "auto_connect=", value)) {
        return ZV_OK;
    }
    int autoConnect = 0;
    if (const int result = readInteger(value, "Invalid parameter to auto_connect= [%s]", autoConnect);
        result != ZV_OK) {
        return result;
    }
    block[operationAt] = operationAutoConnect;
    block[argumentAt] = static_cast<std::uint8_t>(autoConnect);
    given = true;
    return ZV_OK;
}

int readBlock(const char* params, ConfigureBlock& block) {
    if (const int result = readDevice(params, block); result != ZV_OK) {
        return result;
    }
    bool given = false;
    if (const int result = readRemove(params, block, given); result != ZV_OK) {
        return result;
    }
    // Fixed: clients that ask for both get the automatic connection, which is applied last.
    if (const int result = readAutoConnect(params, block, given); result != ZV_OK) {
        return result;
    }
    if (!given) {
        BLE_LOG(UTIL_LOG_ERROR, "No parameters specified for command!");
        return ZV_ERR_INVALID_PARAM;
    }
    return ZV_OK;
}

} // namespace

int ble_whitelist_configure(const char* params, char*, int) try {
    ConfigureBlock block{codeOf(BleCommand::WhitelistConfigure)};
    if (const int result = readBlock(params, block); result != ZV_OK) {
        return result;
    }
    const int result = exchangeAndCheck(serialiseCommand(block));
    if (result != ZV_OK) {
        BLE_LOG(UTIL_LOG_ERROR, "ble_whitelist_configure %s command failed", shownQuery(params));
    }
    return result;
} catch (const std::exception&) {
    return ZV_ERR_OUTOFMEM;
}
