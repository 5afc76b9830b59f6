#include "controlClient.h"
#include "zvCtrlD.h"
#include "zvErrno.h"

#include <algorithm>
#include <cstring>

int zvcontrol_send_command_param_response(int command, const unsigned char* param, int paramLength, char* response,
                                          int responseSize) {
    if (paramLength < 0 || (param == nullptr && paramLength > 0) || responseSize < 0) {
        return ZV_ERR_INVALID_PARAM;
    }
    zvcontrol::Answer answer;
    const int result = zvcontrol::exchange(zvcontrol::Operation::Command, command,
                                           {param, static_cast<std::size_t>(paramLength)}, answer);
    if (result == ZV_OK && response != nullptr && responseSize > 0) {
        const std::size_t length = std::min(answer.length, static_cast<std::size_t>(responseSize) - 1);
        std::memcpy(response, answer.data, length);
        response[length] = '\0';
    }
    return result;
}
