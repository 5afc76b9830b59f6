#include "bleResponse.h"

#include "bleLog.h"
#include "zvErrno.h"

#include <cstddef>
#include <cstdio>
#include <cstring>

int writeResponse(const char* text, char* response, int responseSize) {
    if (response == nullptr) {
        return ZV_OK;
    }
    // Asked before writing, so that a failure leaves nothing in the buffer.
    if (responseSize < 0 || std::strlen(text) >= static_cast<std::size_t>(responseSize)) {
        BLE_LOG(UTIL_LOG_ERROR, "Not enough room in buffer for response\n");
        return ZV_ERR;
    }
    std::snprintf(response, static_cast<std::size_t>(responseSize), "%s", text);
    return ZV_OK;
}
