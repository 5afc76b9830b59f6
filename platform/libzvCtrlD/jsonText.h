// Text as it stands between the quotes of a JSON string.
#pragma once

#include <string>
#include <string_view>

// Appends text, escaped, to json. Quotes, backslashes and control characters are escaped, and each byte that is no part
// of valid UTF-8 becomes \ufffd, so that any bytes are valid inside a JSON string.
void appendJsonText(std::string& json, std::string_view text);
