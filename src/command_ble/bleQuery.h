// Reading the parameters of a request.
#pragma once

#include <string>

// The query text; null counts as empty.
const char* queryText(const char* params);

// Reads a decimal integer from the start of a text, as a stream read of an int does in the classic locale: leading
// blanks are skipped, a sign may stand before the digits, what follows the digits is ignored. False when there is no
// number or it does not fit into an int; value is then untouched.
bool parseInteger(const std::string& text, int& value);
