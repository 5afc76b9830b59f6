#include "bleQuery.h"

#include "bleLog.h"
#include "deviceAddress.h"
#include "zvCtrlD.h"
#include "zvErrno.h"

#include <charconv>
#include <cstddef>
#include <system_error>

const char* queryText(const char* params) {
    return params == nullptr ? "" : params;
}

const char* shownQuery(const char* params) {
    return params == nullptr ? "(null)" : params;
}

bool findParameter(const char* params, const char* name, std::string& value) {
    return parseParam(queryText(params), name, value) != 0;
}

bool parseInteger(const std::string& text, int& value) {
    const std::size_t start = text.find_first_not_of(" \t\n\v\f\r");
    if (start == std::string::npos) {
        return false;
    }
    const char* first = text.data() + start;
    const char* const last = text.data() + text.size();
    if (*first == '+') {
        ++first;
        if (first != last && *first == '-') {
            return false;
        }
    }
    return std::from_chars(first, last, value).ec == std::errc();
}

int readRequired(const char* params, const char* name, std::string& value) {
    if (!findParameter(params, name, value)) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed to parse parameters in %s", shownQuery(params));
        return ZV_ERR_INVALID_PARAM;
    }
    return ZV_OK;
}

int readInteger(const std::string& value, const char* complaint, int& number) {
    if (!parseInteger(value, number)) {
        BLE_LOG(UTIL_LOG_ERROR, complaint, value.c_str());
        return ZV_ERR_INVALID_PARAM;
    }
    return ZV_OK;
}

int readAddress(const std::string& value, const char* params, std::uint8_t* address) {
    if (parse_device_address(value, address) != ZV_OK) {
        // Fixed: readers of the log expect the whole query here, not the value alone.
        BLE_LOG(UTIL_LOG_ERROR, "Failed to parse device address from %s", shownQuery(params));
        return ZV_ERR_INVALID_PARAM;
    }
    return ZV_OK;
}
