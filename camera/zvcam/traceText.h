// Records of a trace, as the tool reads and shows them.
#pragma once

#include "traceRecord.h"

#include <string>

namespace zvcamera {

// Throws JsonError for anything that toJson() does not write.
TraceRecord readTraceRecord(const Json& json);

// The record for a terminal: a line of time, daemon, direction, queue and summary, then a line for every field when
// asked for.
std::string toText(const TraceRecord& record, bool fields);

} // namespace zvcamera
