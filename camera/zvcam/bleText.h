// The radio's state for a terminal.
#pragma once

#include "jsonReader.h"

#include <string>

namespace zvcamera {

// state: what zvBleD's operation "ble" gives. part: "scan", "pairing", "whitelist", "devices", or empty for all.
std::string bleText(const Json& state, const std::string& part);

} // namespace zvcamera
