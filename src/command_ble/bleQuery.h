// Reading the parameters of a request.
#pragma once

#include <cstdint>
#include <string>

// The query text; null counts as empty.
const char* queryText(const char* params);

// The query text as a log line shows it; null is "(null)", as in the line with which the request begins.
const char* shownQuery(const char* params);

// Reads a parameter, for example "p=", of a query text, which may be null. False when it is missing.
bool findParameter(const char* params, const char* name, std::string& value);

// Reads a decimal integer at the start of a text, as a stream reads an int in the classic locale: skips leading blanks,
// takes a sign before the digits, ignores what follows them. False, and value untouched, when there is no number or it
// does not fit into an int.
bool parseInteger(const std::string& text, int& value);

// Reads a parameter that must be there. 0; -3 when it is missing, and the whole query is logged.
int readRequired(const char* params, const char* name, std::string& value);

// Reads the integer at the start of a parameter's value. 0; -3 when there is none, and complaint is logged, a format
// whose %s takes the value.
int readInteger(const std::string& value, const char* complaint, int& number);

// Reads a parameter's value as a device's address. 0; -3 when it is none, and the whole query is logged.
int readAddress(const std::string& value, const char* params, std::uint8_t* address);
