// Text as it stands between the quotes of a JSON string.
#pragma once

#include <string>
#include <string_view>

// Appends text, escaped, to json. Whatever the bytes, the result is valid inside a JSON string: quotes, backslashes and
// control characters are escaped, each byte that is no part of valid UTF-8 becomes \ufffd.
void appendJsonText(std::string& json, std::string_view text);
