// The message elements that requests are made of. They live as long as the program. Each command points them at its own
// data, which must live until the request has been serialised.
#pragma once

#include "zvCtrlD.h"

#include <cstddef>

extern MsgElement commandTagElement;         // set by each command
extern MsgElement commandDataElement;        // set by each command
extern MsgElement replyQueueElement;         // the reply queue's name while the link is open, otherwise empty
extern MsgElement destinationElement;        // "/to_ble" once the link has been open
extern MsgElement tailElement;               // always empty
extern MsgElement networkDestinationElement; // "/to_zvnet" once the link has been open
extern MsgElement spareReplyElement;         // used by no command

// Points an element at a text, without its terminating zero. Its length is taken modulo 65536.
void setText(MsgElement& element, const char* text);

// Adds the five standard elements of a request to the BLE daemon: command tag, command data, reply queue, destination,
// tail. The receiver sees them in this order.
void addStandardElements(Msg& message);
