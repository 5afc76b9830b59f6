// The checks of a reply: a message of category CAT_CGI_BP_RSP with a typeRSP element, whose first data byte is the
// status (0 success) and whose other bytes are the result data. Other elements are ignored.
//
// Both return 0 or -1. A malformed reply is logged at error level; a status that is not 0 is not logged.
#pragma once

#include <cstdint>

// Checks the status.
int ble_check_response(const std::uint8_t* reply, std::uint16_t length);

// Checks the status and copies the result data to data. *dataLength is the room there and becomes the number of data
// bytes; on failure both are untouched. reply and data may overlap.
//
// Fixed: the room must hold the status byte as well, though it is not copied; callers size their buffers for both.
int ble_get_response_data(const std::uint8_t* reply, std::uint16_t length, std::uint8_t* data,
                          std::uint16_t* dataLength);
