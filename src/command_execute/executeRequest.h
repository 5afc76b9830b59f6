/*
 * Reading and validating the commands of an "execute" request.
 */
#pragma once

#include "execEntry.h"

#include <array>
#include <iosfwd>

using ExecEntries = std::array<ExecEntry, maximumEntries>;

/*
 * Reads the commands of a query text, which may be null, into entries, which are empty so far. Returns the number of
 * commands, at least 1; or -1 after writing a failure status into the stream. Carries out nothing.
 */
int readEntries(const char* params, ExecEntries& entries, std::ostream& stream);
