// Diagnostic reports of the support library: assertion failures, mailbox reports and message traces. Internal: not
// among the names that the program exports.
#pragma once

#include <cstdint>

namespace zv {

// Bits of g_debug_level.
constexpr std::uint32_t traceSends = 1U << 8;
constexpr std::uint32_t traceWhole = 1U << 9;
constexpr std::uint32_t reportToFile = 1U << 29;
constexpr std::uint32_t reportToStdout = 1U << 30;

// The low byte of g_debug_level.
unsigned verbosity();

// Verbosities from which reports are issued.
constexpr unsigned assertVerbosity = 8;
constexpr unsigned traceVerbosity = 8;
constexpr unsigned mailboxVerbosity = 16;

// Issues a report whatever the verbosity: to syslog at LOG_DEBUG (and to standard error, which syslog is asked for),
// and with the local time and a blank before it to standard output and to the log file, each under its bit. Whole,
// however long; cut to 1023 characters only without memory for more. Does not use the heap itself.
__attribute__((format(printf, 1, 2))) void report(const char* fmt, ...);

// Reports a failed check when the verbosity lets it through, and ends the process with status 255 in any
// case.
//   module     source path of the checking module, as the report shows it
//   function, line, condition   the check; the lines are fixed: they are part of what the report tells
[[noreturn]] void assertFailed(const char* module, const char* function, int line, const char* condition);

} // namespace zv
