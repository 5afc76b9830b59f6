// What the commands have in common: sending a request and leaving an answer.
#pragma once

#include "zvCtrlD.h"

#include <cstdint>
#include <span>

// Points the standard elements at the command tag of the BLE daemon and at data, and serialises the request
// into ble_msg_buffer. The number of its bytes; 0 when it does not fit.
std::uint16_t ble_serialise_command(std::span<std::uint8_t> data);

// Serialises a request into ble_msg_buffer. The number of its bytes; 0 when it does not fit.
std::uint16_t ble_serialise(const Msg& message);

// Sends the request of length bytes in ble_msg_buffer and receives the reply there. The result is the length
// to check the reply with: the exchange itself is not judged, since a failed one leaves no reply that passes
// a check.
std::uint16_t ble_exchange(std::uint16_t length);

// Leaves a zero-terminated text in the response buffer, which may be null. 0; -1 and a log line when it does
// not fit, and the buffer is untouched.
int ble_write_response(const char* text, char* response, int response_size);
