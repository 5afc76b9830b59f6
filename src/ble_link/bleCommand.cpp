#include "bleCommand.h"

#include "bleElements.h"
#include "bleLink.h"
#include "bleLog.h"
#include "bleMessages.h"
#include "zvErrno.h"

#include <cstddef>
#include <cstdio>
#include <cstring>

BleRequest ble_serialise(const Msg& message) {
    MemStream stream(ble_msg_buffer, BLE_MSG_SIZE);
    stream << message;
    return {stream.getBuffer(), stream.getLength()};
}

BleRequest ble_serialise_command(std::span<std::uint8_t> data) {
    BLECommandMsg message;
    ble_set_text(ble_command_tag, "BL");
    ble_command_data.setData(data.data(), static_cast<unsigned short>(data.size()));
    ble_add_standard_elements(message);
    const BleRequest request = ble_serialise(message);
    // The parameter block is the caller's and need not outlive the request.
    ble_command_data.setData(nullptr, 0);
    return request;
}

std::uint16_t ble_exchange(BleRequest request) {
    if (request.empty()) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed");
        return 0;
    }
    std::uint16_t reply_length = BLE_MSG_SIZE;
    ble_send_receive(request.data(), static_cast<std::uint32_t>(request.size()), &reply_length);
    return reply_length;
}

int ble_write_response(const char* text, char* response, int response_size) {
    if (response == nullptr) {
        return ZV_OK;
    }
    // Asked before writing, so that a failure leaves nothing in the buffer.
    if (response_size < 0 || std::strlen(text) >= static_cast<std::size_t>(response_size)) {
        BLE_LOG(UTIL_LOG_ERROR, "Not enough room in buffer for response\n");
        return ZV_ERR;
    }
    std::snprintf(response, static_cast<std::size_t>(response_size), "%s", text);
    return ZV_OK;
}
