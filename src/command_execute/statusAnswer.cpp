#include "statusAnswer.h"

#include "answerStatus.h"
#include "zvErrno.h"

#include <cstdarg>
#include <cstdio>
#include <ostream>

namespace {

constexpr int messageSize = 512;

char messageBuffer[messageSize];

} // namespace

void write_header(std::ostream& stream) {
    stream << "Content-type: application/json\n";
}

void write_status_error(std::ostream& stream, const char* message, const char* function, int line) {
    // Fixed: clients expect this status and this code for every failure.
    stream << "Status: " << httpBadRequest << "\n\n"
           << "{\n"
           << "\"status\":\"" << message << "\",\n"
           << "\"zverr\":" << ZV_ERR_INVALID_PARAM << ",\n"
           << "\"_function\":\"" << function << "\",\n"
           << "\"_line\":" << line << "\n"
           << "}\n";
}

int fail(std::ostream& stream, const char* message, const char* function, int line) {
    write_status_error(stream, message, function, line);
    return -1;
}

void write_status_ok(std::ostream& stream) {
    stream << "Status: " << httpOk << "\n\n"
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
