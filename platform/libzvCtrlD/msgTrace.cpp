#include "msgTrace.h"

#include "zvCtrlD.h"
#include "zvLog.h"

#include <cstdint>
#include <cstdio>

// These bind to the program's exports. A program without them works as well, but its messages are not traced.
#pragma weak g_logLevel
#pragma weak g_debug_level
#pragma weak zvUtilKlogMsgLevel

namespace {

constexpr const char* source = "zvCtrlD";
constexpr int sourceLine = 57;
constexpr std::size_t shownBytes = 32;           // of an element's data
constexpr std::uint32_t traceMessages = 1U << 8; // in g_debug_level

} // namespace

bool MsgTrace::wanted() {
    const bool bound = &g_logLevel != nullptr && &g_debug_level != nullptr && &zvUtilKlogMsgLevel != nullptr;
    return bound && g_logLevel >= UTIL_LOG_TRACE && (g_debug_level & traceMessages) != 0;
}

template<class... Values>
bool MsgTrace::append(const char* format, Values... values) {
    const std::size_t room = sizeof line_ - used_;
    const int written = std::snprintf(line_ + used_, room, format, values...);
    if (written < 0) {
        return false;
    }
    const bool fitted = static_cast<std::size_t>(written) < room;
    used_ = fitted ? used_ + static_cast<std::size_t>(written) : sizeof line_ - 1;
    return fitted;
}

MsgTrace::MsgTrace(const char* title, unsigned char category, std::size_t size) {
    append("%s%smessage category %u, %zu bytes", title != nullptr ? title : "", title != nullptr ? ": " : "",
           static_cast<unsigned>(category), size);
}

bool MsgTrace::add(const MsgElement& element) {
    bool fits =
        append(" [%u:%u]", static_cast<unsigned>(element.getType()), static_cast<unsigned>(element.getLength()));
    for (std::size_t i = 0; fits && i < element.getLength(); ++i) {
        if (i == shownBytes) {
            return append("%s", "..");
        }
        fits = append(i == 0 ? " %02x" : "%02x", static_cast<unsigned>(element.getData()[i]));
    }
    return fits;
}

void MsgTrace::log() {
    zvUtilKlogMsgLevel(UTIL_LOG_TRACE, sourceLine, source, "%s", line_);
}
