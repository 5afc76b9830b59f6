#include "zvReport.h"

#include "zvLog.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

namespace zv {
namespace {

constexpr const char* logFile = "/tmp/fuse_d/wifi_log.txt";
constexpr std::size_t reportSize = 1024;
constexpr std::size_t timeSize = 20;

std::size_t formatTime(char (&text)[timeSize]) {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    tzset();
    localtime_r(&now, &local);
    return std::strftime(text, sizeof text, "%b%d %H:%M:%S", &local);
}

// Opened and closed for every report: a report is rare, and the storage may be taken out at any time. A file
// that cannot be opened or written is passed over without a word.
void appendToFile(const char* text, std::size_t length) {
    const int file = open(logFile, O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (file < 0) {
        return;
    }
    while (length > 0) {
        const ssize_t written = write(file, text, length);
        if (written <= 0) {
            break;
        }
        text += written;
        length -= static_cast<std::size_t>(written);
    }
    close(file);
}

} // namespace

unsigned verbosity() {
    return g_debug_level & 0xFFU;
}

void report(const char* fmt, ...) {
    char text[timeSize + 1 + reportSize];
    char time[timeSize] = {};
    const std::size_t timeLength = formatTime(time);
    int start = std::snprintf(text, sizeof text, "%.*s ", static_cast<int>(timeLength), time);
    start = start < 0 ? 0 : start;
    char* const body = text + start;
    body[0] = '\0';

    std::va_list args;
    va_start(args, fmt);
    std::vsnprintf(body, reportSize, fmt, args);
    va_end(args);

    if ((g_debug_level & reportToStdout) != 0) {
        std::fputs(text, stdout);
    }
    if ((g_debug_level & reportToFile) != 0) {
        appendToFile(text, std::strlen(text));
    }
    openlog(nullptr, LOG_CONS | LOG_PERROR, LOG_USER);
    syslog(LOG_DEBUG, "%s", body);
    closelog();
}

void assertFailed(const char* module, const char* function, int line, const char* condition) {
    if (verbosity() >= assertVerbosity) {
        report("\033[31mASSERT:%s/%s:%d:%s\n\033[0m", module, function, line, condition);
    }
    std::exit(-1);
}

} // namespace zv
