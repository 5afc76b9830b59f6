#include "statusAnswer.h"

#include "zvErrno.h"

#include <cstdarg>
#include <cstdio>
#include <ostream>

namespace {

char messageBuffer[512];

} // namespace

void write_header(std::ostream& stream) {
    stream << "Content-type: application/json\n";
}

void write_status_error(std::ostream& stream, const char* message, const char* function, int line) {
    // Status and code are deliberately the same for every failure; the message, function and line behind them tell
    // failures apart.
    stream << "Status: " << 400 << "\n\n"
           << "{\n"
           << "\"status\":\"" << message << "\",\n"
           << "\"zverr\":" << ZV_ERR_INVALID_PARAM << ",\n"
           << "\"_function\":\"" << function << "\",\n"
           << "\"_line\":" << line << "\n"
           << "}\n";
}

void write_status_ok(std::ostream& stream) {
    stream << "Status: " << 200 << "\n\n"
           << "{\"status\":\""
           << "0"
           << "\"}\n\n";
}

const char* formatMessage(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    std::vsnprintf(messageBuffer, sizeof messageBuffer, format, args);
    va_end(args);
    return messageBuffer;
}
