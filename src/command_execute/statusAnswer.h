/*
 * The texts of which an answer of "execute" is made.
 */
#pragma once

#include <iosfwd>

/* Starts the answer: the header line. */
void write_header(std::ostream& stream);

/*
 * Appends a failure: HTTP status 400 and error code -3, whatever it was; message, function name and line number tell
 * failures apart. The message is not escaped.
 */
void write_status_error(std::ostream& stream, const char* message, const char* function, int line);

/* Appends the success that answers a request of which every command has been carried out. */
void write_status_ok(std::ostream& stream);

/*
 * Formats a failure message with a variable part, cut to 511 characters, into a buffer of the process. The result
 * points into it and holds until the next call.
 */
__attribute__((format(printf, 1, 2))) const char* formatMessage(const char* format, ...);
