#include "bleRequest.h"

#include "bleElements.h"
#include "bleLink.h"
#include "bleLog.h"
#include "bleMessages.h"
#include "bleReply.h"

namespace {

constexpr char bleTag[] = "BL"; // of every request to the BLE daemon

} // namespace

BleRequest serialise(const Msg& message) {
    MemStream stream(ble_msg_buffer, BLE_MSG_SIZE);
    stream << message;
    return {stream.getBuffer(), stream.getLength()};
}

BleRequest serialiseCommand(std::span<std::uint8_t> data) {
    BLECommandMsg message;
    setText(commandTagElement, bleTag);
    commandDataElement.setData(data.data(), static_cast<unsigned short>(data.size()));
    addStandardElements(message);
    const BleRequest request = serialise(message);
    // The parameter block is the caller's and need not live any longer.
    commandDataElement.setData(nullptr, 0);
    return request;
}

std::uint16_t exchange(BleRequest request) {
    if (request.empty()) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed");
        return 0;
    }
    std::uint16_t replyLength = BLE_MSG_SIZE;
    // The result is not needed: a failed exchange leaves no reply that passes a check.
    static_cast<void>(ble_send_receive(request.data(), static_cast<std::uint32_t>(request.size()), &replyLength));
    return replyLength;
}

int exchangeAndCheck(BleRequest request) {
    const std::uint16_t replyLength = exchange(request);
    return ble_check_response(ble_msg_buffer, replyLength);
}

int exchangeForData(BleRequest request, std::uint16_t& length) {
    const std::uint16_t replyLength = exchange(request);
    length = BLE_MSG_SIZE;
    return ble_get_response_data(ble_msg_buffer, replyLength, ble_msg_buffer, &length);
}
