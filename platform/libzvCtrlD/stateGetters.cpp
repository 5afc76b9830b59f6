#include "controlClient.h"
#include "zvCtrlD.h"
#include "zvErrno.h"

#include <algorithm>
#include <cstring>

namespace {

using zvcontrol::State;

int getText(State state, char* text, int size) {
    if (text == nullptr || size <= 0) {
        return ZV_ERR_INVALID_PARAM;
    }
    zvcontrol::Answer answer;
    const int result = zvcontrol::getState(state, answer);
    if (result == ZV_OK) {
        const std::size_t length = std::min(answer.length, static_cast<std::size_t>(size) - 1);
        std::memcpy(text, answer.data, length);
        text[length] = '\0';
    }
    return result;
}

// Gets a state of one byte: a number or a flag.
int getByte(State state, unsigned char& byte) {
    zvcontrol::Answer answer;
    const int result = zvcontrol::getState(state, answer);
    if (result != ZV_OK) {
        return result;
    }
    if (answer.length != 1) {
        return ZV_ERR;
    }
    byte = answer.data[0];
    return ZV_OK;
}

} // namespace

int zvc_state_get_model_number(unsigned char* number) {
    return number != nullptr ? getByte(State::ModelNumber, *number) : ZV_ERR_INVALID_PARAM;
}

int zvc_state_get_model_name(char* text, int size) {
    return getText(State::ModelName, text, size);
}

int zvc_state_get_firmware_version(char* text, int size) {
    return getText(State::FirmwareVersion, text, size);
}

int zvc_state_get_serial_number(char* text, int size) {
    return getText(State::SerialNumber, text, size);
}

int zvc_state_get_board_type(char* text, int size) {
    return getText(State::BoardType, text, size);
}

int zvc_state_get_ap_mac(char* text, int size) {
    return getText(State::ApMac, text, size);
}

int zvc_state_get_ap_ssid(char* text, int size) {
    return getText(State::ApSsid, text, size);
}

int zvc_state_get_ap_has_default_credentials(bool* flag) {
    if (flag == nullptr) {
        return ZV_ERR_INVALID_PARAM;
    }
    unsigned char byte = 0;
    const int result = getByte(State::ApHasDefaultCredentials, byte);
    if (result == ZV_OK) {
        *flag = byte != 0;
    }
    return result;
}
