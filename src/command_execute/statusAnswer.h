/*
 * The texts that an answer of "execute" is made of.
 */
#pragma once

#include <iosfwd>

/* Starts the answer: the header line. */
void write_header(std::ostream& stream);

/*
 * Appends a failure: HTTP status 400, error code -3, and a message, a function and a line number, which tell failures
 * apart. The message is not escaped.
 */
void write_status_error(std::ostream& stream, const char* message, const char* function, int line);

/* The same, and returns -1. */
int fail(std::ostream& stream, const char* message, const char* function, int line);

/* Appends the success: every command of the request has been carried out. */
void write_status_ok(std::ostream& stream);

/*
 * Formats a failure message, cut to 511 characters. The result points into a buffer of the process, which the next call
 * overwrites.
 */
__attribute__((format(printf, 1, 2))) const char* formatMessage(const char* format, ...);
