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

// Issues a report, whatever the verbosity. It goes to syslog at LOG_DEBUG, and by LOG_PERROR to standard error. Behind
// the local time and a blank, it goes to standard output and to the log file, each when its bit is set. It is cut to
// 1023 characters when there is no memory for more. Only the log file's stream needs the heap: without memory for it,
// the report does not reach the file.
__attribute__((format(printf, 1, 2))) void report(const char* fmt, ...);

// Reports a failed check from assertVerbosity on, and ends the process with status 255 at any verbosity.
//   module                      path of the checking source, without its ending
//   function, line, condition   the check, as the report shows it
[[noreturn]] void assertFailed(const char* module, const char* function, int line, const char* condition);

} // namespace zv
