/*
 * Reading and validating the commands of an "execute" request.
 */
#pragma once

#include "execEntry.h"

#include <array>
#include <iosfwd>

using ExecEntries = std::array<ExecEntry, maximumEntries>;

/*
 * Reads the commands of a query text (may be null) into entries, all empty so far, from the first upwards. The number
 * of commands read, at least 1; or -1 after writing a failure status into the stream. Nothing is carried out.
 */
int readEntries(const char* params, ExecEntries& entries, std::ostream& stream);
