/*
 * The custom URIs of the program: which handler serves which URI, and the hooks around it.
 */
#pragma once

#include "zvCtrlD.h"

#include <span>

struct CustomHandler {
    const char* uri; // relative to the control URL space, without leading slash
    zvcontrol_handler handler;
    zvcontrol_hook openHook; // null: none
    zvcontrol_hook closeHook;
};

/* All rows, in the order in which they are registered. */
std::span<const CustomHandler> custom_handlers();

/*
 * Registers all rows with the dispatcher, whose URI interface is open. The first result that is not 0 stops the
 * registration and is returned; rows registered before it stay until the interface is closed.
 */
int register_custom_handlers();
