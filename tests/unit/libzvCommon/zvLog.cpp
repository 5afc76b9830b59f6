#include "zvLog.h"

#include "syslogCapture.h"

#include <climits>
#include <clocale>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

using testing::StartsWith;
using zvtest::LogLine;
using zvtest::SyslogCapture;

// This thread's formatting calls and heap allocations; the thread that captures the log makes its own.
static thread_local int formattings = 0;
static thread_local int allocations = 0;
// The format that cannot be formatted; null for none.
static thread_local const char* failing = nullptr;

// The library's formatting calls, under every name that a compiler may give them.
extern "C" {
int __wrap_snprintf(char* text, std::size_t size, const char* fmt, ...);
int __wrap_vsnprintf(char* text, std::size_t size, const char* fmt, va_list args);
int __wrap___snprintf_chk(char* text, std::size_t size, int flag, std::size_t room, const char* fmt, ...);
int __wrap___vsnprintf_chk(char* text, std::size_t size, int flag, std::size_t room, const char* fmt, va_list args);
int __real_vsnprintf(char* text, std::size_t size, const char* fmt, va_list args);

int __wrap_vsnprintf(char* text, std::size_t size, const char* fmt, va_list args) {
    ++formattings;
    if (failing != nullptr && std::strcmp(fmt, failing) == 0) {
        return -1;
    }
    return __real_vsnprintf(text, size, fmt, args);
}

int __wrap_snprintf(char* text, std::size_t size, const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    const int length = __wrap_vsnprintf(text, size, fmt, args);
    va_end(args);
    return length;
}

int __wrap___vsnprintf_chk(char* text, std::size_t size, int /*flag*/, std::size_t /*room*/, const char* fmt,
                           va_list args) {
    return __wrap_vsnprintf(text, size, fmt, args);
}

int __wrap___snprintf_chk(char* text, std::size_t size, int /*flag*/, std::size_t /*room*/, const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    const int length = __wrap_vsnprintf(text, size, fmt, args);
    va_end(args);
    return length;
}
}

// Counts all heap calls, those of the C library included: by functions in their place, or by the sanitizer's hooks.
#ifdef __SANITIZE_ADDRESS__
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*allocated)(const volatile void*, std::size_t),
                                                         void (*freed)(const volatile void*));
static const int installed = __sanitizer_install_malloc_and_free_hooks(
    [](const volatile void*, std::size_t) { ++allocations; }, [](const volatile void*) {});
#else
// A static program cannot replace the C library's heap functions, but the linker can lead all calls through others.
#ifdef ZV_STATIC
#define REAL(name) __real_##name
#define OURS(name) __wrap_##name
#else
#define REAL(name) __libc_##name
#define OURS(name) name
#endif
extern "C" {
void* REAL(malloc)(std::size_t size);
void* REAL(calloc)(std::size_t count, std::size_t size);
void* REAL(realloc)(void* memory, std::size_t size);

void* OURS(malloc)(std::size_t size) {
    ++allocations;
    return REAL(malloc)(size);
}

void* OURS(calloc)(std::size_t count, std::size_t size) {
    ++allocations;
    return REAL(calloc)(count, size);
}

void* OURS(realloc)(void* memory, std::size_t size) {
    ++allocations;
    return REAL(realloc)(memory, size);
}
}
#endif

namespace {

// What one line costs.
struct Cost {
    int formattings = 0;
    int allocations = 0;
};

Cost costOf(const char* message, const char* file) {
    const Cost before = {formattings, allocations};
    zvUtilKlogMsgLevel(UTIL_LOG_ERROR, 12, file, "%s", message);
    return {formattings - before.formattings, allocations - before.allocations};
}

std::string one(SyslogCapture& log) {
    const auto texts = log.texts();
    EXPECT_EQ(1U, texts.size());
    return texts.size() == 1 ? texts[0] : "";
}

std::string logged(const std::string& message, const std::string& file) {
    SyslogCapture log;
    zvUtilKlogMsgLevel(UTIL_LOG_ERROR, 12, file.c_str(), "%s", message.c_str());
    return one(log);
}

} // namespace

TEST(ZvLog, InitialValues) {
    EXPECT_EQ(2, g_logLevel);
    EXPECT_EQ(0x00281420U, g_debug_level);
    EXPECT_EQ(0x30000000U, g_debug);
    EXPECT_EQ(10, g_timedreceive);
}

TEST(ZvLog, LevelIsSetBelow7AndLeftAloneOtherwise) {
    for (unsigned level = 0; level < 7; ++level) {
        zvUtilSetLogLevel(level);
        EXPECT_EQ(static_cast<int>(level), g_logLevel);
    }
    g_logLevel = 4;
    for (const unsigned level : {7U, 8U, 255U, 0x80000000U, static_cast<unsigned>(-1)}) {
        zvUtilSetLogLevel(level);
        EXPECT_EQ(4, g_logLevel) << level;
    }
}

TEST(ZvLog, ErrorLineReachesSyslogAtPriority3) {
    SyslogCapture log;
    zvUtilKlogMsgLevel(UTIL_LOG_ERROR, 12, "f", "x\n");
    const auto lines = log.take();
    ASSERT_EQ(1U, lines.size());
    EXPECT_EQ(3, lines[0].priority);
    EXPECT_EQ(1, lines[0].facility);
    EXPECT_EQ("UTIL_LOG_ERROR:x\n @f:12", lines[0].text);
}

TEST(ZvLog, EveryLevelHasItsPaddedNameAndTheSamePriority) {
    const char* const expected[] = {
        "UTIL_LOG_OFF  :m @f:1", "UTIL_LOG_FATAL:m @f:1", "UTIL_LOG_ERROR:m @f:1", "UTIL_LOG_WARN :m @f:1",
        "UTIL_LOG_DEBUG:m @f:1", "UTIL_LOG_INFO :m @f:1", "UTIL_LOG_TRACE:m @f:1",
    };
    SyslogCapture log;
    for (int level = 0; level <= 6; ++level) {
        zvUtilKlogMsgLevel(level, 1, "f", "m");
        const auto lines = log.take();
        ASSERT_EQ(1U, lines.size());
        EXPECT_EQ(expected[level], lines[0].text);
        EXPECT_EQ(3, lines[0].priority);
    }
}

TEST(ZvLog, EmitterItselfDoesNotLookAtTheLevel) {
    SyslogCapture log;
    g_logLevel = UTIL_LOG_OFF;
    zvUtilKlogMsgLevel(UTIL_LOG_TRACE, 5, "f", "m");
    EXPECT_EQ("UTIL_LOG_TRACE:m @f:5", one(log));
}

TEST(ZvLog, CallersLogOnlyWhatTheLevelLetsThrough) {
    SyslogCapture log;
    for (int current = 0; current <= 6; ++current) {
        g_logLevel = current;
        for (int level = 1; level <= 6; ++level) {
            ZV_LOG_AT(level, 7, "f", "%d", level);
        }
        const auto messages = log.messages();
        ASSERT_EQ(static_cast<std::size_t>(current), messages.size());
        for (int level = 1; level <= current; ++level) {
            EXPECT_EQ(std::to_string(level), messages[static_cast<std::size_t>(level) - 1]);
        }
    }
}

TEST(ZvLog, ArgumentsAreFormatted) {
    SyslogCapture log;
    zvUtilKlogMsgLevel(UTIL_LOG_WARN, -3, "a_file", "%s %d %02x%%\n", "text", -5, 10);
    EXPECT_EQ("UTIL_LOG_WARN :text -5 0a%\n @a_file:-3", one(log));
}

TEST(ZvLog, PercentSignsOfArgumentsAreNotFormatted) {
    EXPECT_EQ("UTIL_LOG_ERROR:%s%n @%d:12", logged("%s%n", "%d"));
}

TEST(ZvLog, EmptyMessageHasPrefixAndSuffix) {
    EXPECT_EQ("UTIL_LOG_ERROR: @f:12", logged("", "f"));
}

TEST(ZvLog, MessageOf334CharactersJustFits) {
    EXPECT_EQ("UTIL_LOG_ERROR:" + std::string(334, 'm') + " @f:12", logged(std::string(334, 'm'), "f"));
}

TEST(ZvLog, LongerMessageIsCutAndTheSuffixStandsAt349) {
    for (const std::size_t length : {335U, 400U, 5000U}) {
        const std::string text = logged(std::string(length, 'm'), "f");
        EXPECT_EQ("UTIL_LOG_ERROR:" + std::string(334, 'm') + " @f:12", text);
        EXPECT_EQ(349U, text.find(" @f:12"));
    }
}

TEST(ZvLog, SuffixThatDoesNotFitBehindACutMessageIsASingleBlank) {
    // The room is 91: a suffix of 90 characters fits, that is, " @", the file and ":12".
    const std::string start = "UTIL_LOG_ERROR:" + std::string(334, 'm');
    EXPECT_EQ(start + " @" + std::string(85, 'f') + ":12", logged(std::string(400, 'm'), std::string(85, 'f')));
    EXPECT_EQ(start + " ", logged(std::string(400, 'm'), std::string(86, 'f')));
    EXPECT_EQ(start + " ", logged(std::string(334, 'm'), std::string(86, 'f')));
}

TEST(ZvLog, SuffixThatDoesNotFitBehindAShortMessageIsASingleBlank) {
    // Prefix and message take 16 of 440 bytes, so a suffix of 423 characters fits.
    EXPECT_EQ("UTIL_LOG_ERROR:x @" + std::string(418, 'f') + ":12", logged("x", std::string(418, 'f')));
    EXPECT_EQ("UTIL_LOG_ERROR:x ", logged("x", std::string(419, 'f')));
    EXPECT_EQ("UTIL_LOG_ERROR:x ", logged("x", std::string(5000, 'f')));
}

TEST(ZvLog, MessageThatCannotBeFormattedShortensTheLine) {
    std::setlocale(LC_ALL, "C");
    SyslogCapture log;
    zvUtilKlogMsgLevel(UTIL_LOG_ERROR, 12, "f", "%ls", L"\x20AC"); // no such character in this locale
    EXPECT_EQ("UTIL_LOG_ERROR:", one(log));
}

TEST(ZvLog, SuffixThatCannotBeFormattedIsASingleBlank) {
    SyslogCapture log;
    failing = " @%s:%d";
    zvUtilKlogMsgLevel(UTIL_LOG_ERROR, 12, "f", "x");
    failing = nullptr;
    EXPECT_EQ("UTIL_LOG_ERROR:x ", one(log));
}

TEST(ZvLog, KeepsTheFacilityOfTheProcess) {
    SyslogCapture log;
    openlog("test", 0, LOG_LOCAL3);
    zvUtilKlogMsgLevel(UTIL_LOG_ERROR, 12, "f", "x");
    const auto lines = log.take();
    ASSERT_EQ(1U, lines.size());
    EXPECT_EQ(LOG_LOCAL3 >> 3, lines[0].facility);
    EXPECT_EQ(3, lines[0].priority);
}

TEST(ZvLog, NobodyListeningIsNoFailure) {
    zvUtilKlogMsgLevel(UTIL_LOG_ERROR, INT_MIN, "f", "x");
    SyslogCapture log;
    zvUtilKlogMsgLevel(UTIL_LOG_ERROR, INT_MIN, "f", "x");
    EXPECT_EQ("UTIL_LOG_ERROR:x @f:-2147483648", one(log));
}

TEST(ZvLog, LineCostsNoHeapAndThreeFormattingCallsAtMost) {
    const std::string longest(5000, 'x');
    SyslogCapture log;
    zvUtilKlogMsgLevel(UTIL_LOG_ERROR, 12, "f", "x"); // the first of a process reads the time zone
    for (const std::string& message : {std::string("x\n"), longest}) {
        for (const std::string& file : {std::string("f"), longest}) {
            const Cost cost = costOf(message.c_str(), file.c_str());
            EXPECT_EQ(0, cost.allocations);
            EXPECT_GE(cost.formattings, 1); // a compiler may turn plain ones into copies
            EXPECT_LE(cost.formattings, 3);
        }
    }
    EXPECT_EQ(5U, log.texts().size());
}

TEST(ZvLog, CountsOfTheTestAboveCount) {
    const Cost before = {formattings, allocations};
    char text[8];
    std::snprintf(text, sizeof text, "%d", 1);
    void* const memory = std::malloc(100);
    std::free(memory);
    EXPECT_NE(nullptr, memory);
    EXPECT_EQ(before.formattings + 1, formattings);
    EXPECT_EQ(before.allocations + 1, allocations);
}
