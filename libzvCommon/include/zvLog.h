/*
 * Logging of the support library: the process-wide log level, the diagnostic switch words and the emitting call.
 *
 * Fixed: names, types and initial values; the closed libraries loaded beside the program bind to them by name.
 */
#ifndef ZV_LOG_H
#define ZV_LOG_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Log levels. Fixed: DEBUG is below INFO; the closed libraries pass these numbers. */
#define UTIL_LOG_OFF 0
#define UTIL_LOG_FATAL 1
#define UTIL_LOG_ERROR 2
#define UTIL_LOG_WARN 3
#define UTIL_LOG_DEBUG 4
#define UTIL_LOG_INFO 5
#define UTIL_LOG_TRACE 6

/* The current log level, 0 to 6, initially UTIL_LOG_ERROR. Callers log a message when its level is not above it. */
extern int32_t g_logLevel;

/*
 * Diagnostic switches, initially 0x00281420.
 *   bits 0-7  verbosity: assertion reports and message traces from 8, mailbox reports from 16
 *   bit 8     trace of every message sent (subject to g_debug); the control library's traces of messages (Msg::dump)
 *   bit 9     traces show every line of a long message
 *   bit 29    reports and traces are appended to /tmp/fuse_d/wifi_log.txt too
 *   bit 30    reports and traces are printed to standard output too
 * The other bits are read by nothing.
 */
extern uint32_t g_debug_level;

/* Mask of trace classes (s_dmsghex), initially 0x30000000: a message is traced when its class has a bit in it. */
extern uint32_t g_debug;

/* Seconds that a timed mailbox receive waits, initially 10. */
extern int32_t g_timedreceive;

/* Sets g_logLevel to a level of 0 to 6; ignores any other value. Logs nothing. */
void zvUtilSetLogLevel(unsigned level);

/*
 * Writes one line to syslog at priority LOG_ERR, whatever the level: "<level name>:<message> @<file>:<line>".
 *
 *   level  0 to 6, selects the level name (padded to 14 characters); not checked
 *   line   the caller's source line number
 *   file   base name of the caller's source file, without its ending
 *   fmt    printf format of the message and its arguments
 *
 * Does not check g_logLevel: the caller does so before the call (ZV_LOG_AT). Level name, colon and message are cut to
 * 349 characters. A suffix that does not fit behind them is replaced by one blank. No line end is added or removed.
 * Needs no heap. A line that syslog does not take within 250 ms is lost without notice, and lines of the next minute
 * after 2 ms. The first line gives SIGURG a handler that does nothing, which stays; while the process has one of its
 * own, set before or later, that one stays, and a line waits as long as syslog does.
 */
#ifdef __GNUC__
__attribute__((format(printf, 4, 5)))
#endif
void zvUtilKlogMsgLevel(int level, int line, const char* file, const char* fmt, ...);

#ifdef __cplusplus
}
#endif

/* Logs when g_logLevel is at least level; file and line as for zvUtilKlogMsgLevel. */
#define ZV_LOG_AT(level, line, file, ...)                                                                              \
    do {                                                                                                               \
        if (g_logLevel > (level)-1) {                                                                                  \
            zvUtilKlogMsgLevel((level), (line), (file), __VA_ARGS__);                                                  \
        }                                                                                                              \
    } while (0)

#endif
