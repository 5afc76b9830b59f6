// Whether the camera may enter its pairing phase, and the switch of that phase.
#include "bleElements.h"
#include "bleLog.h"
#include "bleMessages.h"
#include "bleQuery.h"
#include "bleRequest.h"
#include "command_ble.h"
#include "csi.h"
#include "zvErrno.h"

#include <cstdint>
#include <exception>
#include <string>

namespace {

constexpr std::int32_t pairingStarted = 1; // of CSI_AP_PAIRING_STATE

bool readItem(int item, std::int32_t& value) {
    std::int32_t returned = 0;
    value = 0;
    return csi_get(item, sizeof value, &returned, &value) == 0;
}

// The request goes to the network daemon itself, not through it to the BLE daemon.
BleRequest serialisePhase(bool enter) {
    // Fixed: the daemon expects these bytes whatever the value of p is.
    static std::uint8_t enterData[] = {0x01, 0x03};

    ZvNetMsg message;
    if (enter) {
        setText(commandTagElement, "PD");
        commandDataElement.setData(enterData, sizeof enterData);
    } else {
        setText(commandTagElement, "PX");
        commandDataElement.setData(nullptr, 0);
    }
    message.addElement(&commandTagElement);
    message.addElement(&commandDataElement);
    message.addElement(&replyQueueElement);
    message.addElement(&networkDestinationElement);
    message.addElement(&tailElement);
    return serialise(message);
}

} // namespace

int ble_pairing_available(const char*, char*, int) {
    std::int32_t recording = 0;
    if (!readItem(CSI_RECORDING, recording)) {
        BLE_LOG(UTIL_LOG_ERROR, "csi_get(CSI_RECORDING) failed");
        return ZV_ERR;
    }
    if (recording != 0) {
        BLE_LOG(UTIL_LOG_DEBUG, "Can't enter pairing phase because recording");
        return ZV_ERR;
    }
    std::int32_t state = 0;
    if (!readItem(CSI_AP_PAIRING_STATE, state)) {
        BLE_LOG(UTIL_LOG_ERROR, "csi_get(CSI_AP_PAIRING_STATE) failed");
        return ZV_ERR;
    }
    if (state == pairingStarted) {
        BLE_LOG(UTIL_LOG_DEBUG, "Can't enter pairing phase because apPairingState(%d)==OP_STARTED", state);
        return ZV_ERR;
    }
    return ZV_OK;
}

int ble_pairing_phase(const char* params, char*, int) try {
    std::string value;
    if (const int result = readRequired(params, "p=", value); result != ZV_OK) {
        return result;
    }
    int phase = 0;
    if (const int result = readInteger(value, "Error parsing parameter for pairing_phase command [%s]", phase);
        result != ZV_OK) {
        return result;
    }
    const int result = exchangeAndCheck(serialisePhase(phase != 0));
    if (result != ZV_OK) {
        BLE_LOG(UTIL_LOG_ERROR, "ble_pairing_phase p=%d command failed", phase);
    }
    return result;
} catch (const std::exception&) {
    return ZV_ERR_OUTOFMEM;
}
