#include "zvLog.h"

#include "zvLogLimit.h"

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <syslog.h>

// Fixed: the initial values; the closed libraries change single bits of them.
std::int32_t g_logLevel = UTIL_LOG_ERROR;
std::uint32_t g_debug_level = 0x00281420;
std::uint32_t g_debug = 0x30000000;
std::int32_t g_timedreceive = 10;

namespace {

// Padded to one width, so that the lines of a log align.
constexpr const char* levelNames[] = {
    "UTIL_LOG_OFF  ", "UTIL_LOG_FATAL", "UTIL_LOG_ERROR", "UTIL_LOG_WARN ",
    "UTIL_LOG_DEBUG", "UTIL_LOG_INFO ", "UTIL_LOG_TRACE",
};
static_assert(sizeof levelNames / sizeof levelNames[0] == UTIL_LOG_TRACE + 1);

// Fixed: readers of the log know where a long line is cut.
constexpr std::size_t lineSize = 441;
constexpr std::size_t messageEnd = 350; // prefix, message and terminating zero
constexpr std::size_t suffixEnd = 440;

} // namespace

void zvUtilSetLogLevel(unsigned level) {
    if (level <= UTIL_LOG_TRACE) {
        g_logLevel = static_cast<std::int32_t>(level);
    }
}

void zvUtilKlogMsgLevel(int level, int line, const char* file, const char* fmt, ...) {
    char text[lineSize] = {};
    const auto prefix = static_cast<std::size_t>(std::snprintf(text, lineSize, "%s:", levelNames[level]));
    const std::size_t room = messageEnd - prefix;

    std::va_list args;
    va_start(args, fmt);
    const int written = std::vsnprintf(text + prefix, room, fmt, args);
    va_end(args);

    const bool fitted = written >= 0 && static_cast<std::size_t>(written) < room;
    const std::size_t end = fitted ? prefix + static_cast<std::size_t>(written) : messageEnd - 1;
    const std::size_t suffixRoom = fitted ? suffixEnd - end : lineSize - messageEnd;

    const int suffix = std::snprintf(text + end, suffixRoom, " @%s:%d", file, line);
    if (suffix < 0 || static_cast<std::size_t>(suffix) >= suffixRoom) {
        text[end] = ' ';
        text[end + 1] = '\0';
    }
    const zv::LogLimit limit;
    syslog(LOG_ERR, "%s", text);
}
