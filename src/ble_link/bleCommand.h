// What the commands have in common: sending a request and leaving an answer.
#pragma once

#include "zvCtrlD.h"

#include <cstdint>
#include <span>

// A serialised request, which stands in ble_msg_buffer; empty when it does not fit there.
using BleRequest = std::span<const std::uint8_t>;

// Points the standard elements at the command tag of the BLE daemon and at data, and serialises the request.
BleRequest ble_serialise_command(std::span<std::uint8_t> data);

BleRequest ble_serialise(const Msg& message);

// Sends a request and receives the reply into ble_msg_buffer. The result is the length to check the reply with: the
// exchange itself is not judged, since a failed one leaves no reply that passes a check. An empty request is logged as
// a failed send, and nothing is sent.
std::uint16_t ble_exchange(BleRequest request);

// Leaves a zero-terminated text in the response buffer, which may be null. 0; -1 and a log line when it does not fit,
// and the buffer is untouched.
int ble_write_response(const char* text, char* response, int response_size);
