// Texts of others for a terminal.
#pragma once

#include <string>
#include <string_view>

namespace zvcamera {

// UTF-8 text with its control characters as \xNN, a line end as \n: what clients and programs of the camera write does
// not reach the terminal as anything but text.
std::string printable(std::string_view text);

} // namespace zvcamera
