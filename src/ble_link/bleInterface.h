// Opening and closing of the link: the dispatcher's hooks around a handler.
#pragma once

// Opens the link: creates this process's reply queue and opens the network daemon's queue. 0; -1 when it is open
// already or a queue cannot be opened; -2 out of memory. A link that opens in part only is closed again.
int ble_interface_open();

// Closes the link and removes the reply queue. 0, or the last failure's result; the link is closed in either case.
int ble_interface_close();
