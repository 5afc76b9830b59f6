// Logging of the BLE commands: one source name for all of their files, the caller's own line number.
#pragma once

#include "zvLog.h"

// Logs a printf-style message when the log level lets it through.
#define BLE_LOG(level, ...) ZV_LOG_AT(level, __LINE__, "command_ble", __VA_ARGS__)
