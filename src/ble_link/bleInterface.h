// Opening and closing of the link: the hooks that the dispatcher calls around a handler.
#pragma once

// Opens the link: creates this process's reply queue and opens the network daemon's queue. 0; -1 when it is open
// already or a queue cannot be opened; -2 out of memory. A link that opens only in part is closed again.
int ble_interface_open();

// Closes the link and removes the reply queue; it is closed afterwards in any case. 0, or what failed.
int ble_interface_close();
