// One request and its reply: serialising, sending and receiving, checking.
#pragma once

#include "zvCtrlD.h"

#include <cstdint>
#include <span>

// A serialised request, which stands in ble_msg_buffer; empty when it does not fit there.
using BleRequest = std::span<const std::uint8_t>;

// Serialises a request to the BLE daemon with a parameter block, which need not outlive the call.
BleRequest serialiseCommand(std::span<std::uint8_t> data);

BleRequest serialise(const Msg& message);

// Sends a request and receives the reply into ble_msg_buffer. Returns the length to check the reply with: the reply's
// own; 0 when none came, and for an empty request, which is logged as a failed send; BLE_MSG_SIZE when sending failed,
// since the request, which then still stands in the buffer, passes no check of that length.
std::uint16_t exchange(BleRequest request);

// Sends a request, receives the reply and checks its status. 0; -1 when the request or its reply fails.
int exchangeAndCheck(BleRequest request);

// The same, and leaves the reply's data at the start of ble_msg_buffer; length becomes their number of bytes.
int exchangeForData(BleRequest request, std::uint16_t& length);
