// The message elements that the requests are made of. They live as long as the program; each command points them at its
// own data, which must stay alive until the request has been serialised.
#pragma once

#include "zvCtrlD.h"

#include <cstddef>

extern MsgElement ble_command_tag;         // set by each command
extern MsgElement ble_command_data;        // set by each command
extern MsgElement ble_reply_queue;         // the reply queue's name while the link is open, otherwise empty
extern MsgElement ble_destination;         // "/to_ble" once the link has been open
extern MsgElement ble_tail;                // always empty
extern MsgElement ble_network_destination; // "/to_zvnet" once the link has been open
extern MsgElement ble_spare_reply;         // used by no command

// Points an element at a text, without its terminating zero. Its length is taken modulo 65536.
void ble_set_text(MsgElement& element, const char* text);

// Adds the five standard elements of a request to the BLE daemon: command tag, command data, reply queue, destination,
// tail. The receiver sees them in this order.
void ble_add_standard_elements(Msg& message);
