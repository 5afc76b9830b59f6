#include "zvReport.h"

#include "writeAll.h"
#include "zvLog.h"
#include "zvLogLimit.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/mman.h>
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

// The text of a report behind the local time and a blank. A mailbox's name can make a report too long for the stack;
// such a report has pages of its own instead of heap, since a process may report while it ends.
class TimedText {
public:
    TimedText(const char* fmt, std::va_list args) {
        char time[timeSize] = {};
        const std::size_t timeLength = formatTime(time);
        const int start = std::snprintf(own_, sizeof own_, "%.*s ", static_cast<int>(timeLength), time);
        start_ = start < 0 ? 0 : static_cast<std::size_t>(start);
        own_[start_] = '\0';
        std::va_list again;
        va_copy(again, args);
        const int length = std::vsnprintf(own_ + start_, reportSize, fmt, args);
        if (length >= static_cast<int>(reportSize)) {
            move(start_ + static_cast<std::size_t>(length) + 1, fmt, again);
        }
        va_end(again);
    }
    ~TimedText() {
        if (text_ != own_) {
            munmap(text_, size_);
        }
    }
    TimedText(const TimedText&) = delete;
    TimedText& operator=(const TimedText&) = delete;

    const char* timed() const { return text_; }
    const char* body() const { return text_ + start_; }

private:
    // Formats the text anew in pages that hold all of it; without pages it stays as it is, cut.
    void move(std::size_t size, const char* fmt, std::va_list args) {
        void* const pages = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (pages != MAP_FAILED) {
            text_ = static_cast<char*>(pages);
            size_ = size;
            std::memcpy(text_, own_, start_);
            std::vsnprintf(text_ + start_, size_ - start_, fmt, args);
        }
    }

    char own_[timeSize + 1 + reportSize];
    char* text_ = own_;
    std::size_t size_ = 0;
    std::size_t start_ = 0;
};

// Opens and closes the file for every report: the storage may be taken out at any time. Drops what cannot be written.
void appendToFile(const char* text) {
    std::FILE* const file = std::fopen(logFile, "a+");
    if (file == nullptr) {
        return;
    }
    const int descriptor = fileno(file);
    fcntl(descriptor, F_SETFD, FD_CLOEXEC); // another thread may start a program meanwhile
    // Past the stream's buffer, which would cut a long report into pieces and lose one that is interrupted.
    static_cast<void>(writeAll(descriptor, text));
    std::fclose(file);
}

} // namespace

unsigned verbosity() {
    return g_debug_level & 0xFFU;
}

void report(const char* fmt, ...) {
    std::va_list args;
    va_start(args, fmt);
    const TimedText text(fmt, args);
    va_end(args);

    if ((g_debug_level & reportToStdout) != 0) {
        std::fputs(text.timed(), stdout);
    }
    if ((g_debug_level & reportToFile) != 0) {
        appendToFile(text.timed());
    }
    const LogLimit limit;
    openlog(nullptr, LOG_CONS | LOG_PERROR, LOG_USER);
    syslog(LOG_DEBUG, "%s", text.body());
    closelog();
}

void assertFailed(const char* module, const char* function, int line, const char* condition) {
    if (verbosity() >= assertVerbosity) {
        report("\033[31mASSERT:%s/%s:%d:%s\n\033[0m", module, function, line, condition);
    }
    std::exit(-1);
}

} // namespace zv
