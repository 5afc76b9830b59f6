#include "log.h"

#include <cstdarg>
#include <syslog.h>

namespace zvcamera {

void openLog(const char* name) {
    openlog(name, LOG_PID, LOG_DAEMON);
}

void logError(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vsyslog(LOG_ERR, format, arguments);
    va_end(arguments);
}

void logInfo(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vsyslog(LOG_INFO, format, arguments);
    va_end(arguments);
}

} // namespace zvcamera
