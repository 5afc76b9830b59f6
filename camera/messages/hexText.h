// Bytes as hexadecimal text.
#pragma once

#include "bytes.h"

#include <string>
#include <string_view>

namespace zvcamera {

std::string toHex(ByteSpan bytes); // lower case, two digits a byte, no separators
// The bytes of a hex text; throws std::invalid_argument for anything else.
Bytes fromHex(std::string_view text);

} // namespace zvcamera
