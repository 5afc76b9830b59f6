#include "zvControl.h"

#include "answerStatus.h"
#include "answerStream.h"
#include "cameraDescription.h"
#include "handlerTable.h"
#include "writeAnswer.h"
#include "zvCtrlD.h"
#include "zvErrno.h"
#include "zvLog.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cxxabi.h>
#include <exception>
#include <new>
#include <string_view>
#include <typeinfo>

namespace {

constexpr const char* logSource = "zvControl";

// Fixed: readers of the log and clients tell the messages apart by these line numbers.
constexpr int lineStart = 100;
constexpr int lineOpen = 120;
constexpr int lineRegister = 128;
constexpr int lineUnknownRequest = 143;
constexpr int lineFailure = 150;

constexpr std::size_t responseSize = 4096;

// The serving handler leaves a zero-terminated text here, or nothing.
char response[responseSize];

bool openInterface(int& result) {
    result = zvcontrol_uri_interface_open();
    if (result != ZV_OK) {
        ZV_LOG_AT(UTIL_LOG_ERROR, lineOpen, logSource, "Error[%d] opening the daemon interface\n", result);
        return false;
    }
    result = register_custom_handlers();
    if (result != ZV_OK) {
        ZV_LOG_AT(UTIL_LOG_ERROR, lineRegister, logSource, "Unable to add custom handlers err:%d at line:%d\n", result,
                  lineRegister);
        static_cast<void>(zvcontrol_uri_interface_close());
        return false;
    }
    return true;
}

void answerSuccess(AnswerStream& stream) {
    http_output_success_header(stream);
    goOn(stream); // a null text in the header must not swallow what follows it
    const std::string_view text(response, strnlen(response, sizeof response));
    if (text.empty()) {
        http_output_empty_json(stream);
    } else {
        stream << text;
    }
}

// Reads the environment again, since handlers run in this process and may have changed it.
void answerError(std::ostream& stream, int result) {
    const char* const path = std::getenv("PATH_INFO");
    const char* const params = std::getenv("QUERY_STRING");
    if (result == ZV_ERR_NOT_SUPPORTED) {
        // Fixed: clients know an unknown request by this code and text.
        http_print_error_response_ex(stream, path, params, httpBadRequest, ZV_ERR_INVALID_PARAM, "unknown request",
                                     "main", lineUnknownRequest);
        return;
    }
    const int status = result == ZV_ERR_INCOMPLETE_CGI_PARAM ? httpBadRequest : httpInternalServerError;
    http_print_error_response_ex(stream, path, params, status, result, path, "main", lineFailure);
}

// Writes the answer to a result. Returns the result with which the request ends.
int answer(AnswerStream& stream, int result) {
    if (result == ZV_ERR_RESPONSE_ALREADY_SENT) {
        return result;
    }
    if (result == ZV_OK) {
        answerSuccess(stream);
    } else {
        answerError(stream, result);
    }
    return writeAnswer(stream) ? result : ZV_ERR_OUTOFMEM;
}

int serve(AnswerStream& stream, const char* path, const char* params) {
    int result = ZV_OK;
    if (!openInterface(result)) {
        return result;
    }
    result = zvcontrol_uri_handle_uri_param(path, params, response, sizeof response);
    const int ending = answer(stream, result);
    if (zvcontrol_uri_interface_close() != ZV_OK) {
        // Fixed: readers of the log find the request's result here, not that of closing.
        std::fprintf(stderr, "Error[%d] closing the daemon interface\n", result);
    }
    return ending;
}

int serveRequest() {
    watchMemory();
    AnswerStream stream;
    zvUtilSetLogLevel(UTIL_LOG_TRACE);
    std::fill(std::begin(response), std::end(response), '\0');
    const char* const path = std::getenv("PATH_INFO");
    const char* const params = std::getenv("QUERY_STRING");
    ZV_LOG_AT(UTIL_LOG_DEBUG, lineStart, logSource, "Executing zvControl-cgi-bin path[%s] params[%s]\n", path, params);
    if (path == nullptr || *path == '\0') {
        static_cast<void>(camera_description_output_json(stream));
        return writeAnswer(stream) ? ZV_OK : ZV_ERR_OUTOFMEM;
    }
    return serve(stream, path, params);
}

// The result does not tell it: it stays the request's.
void logOutputError() {
    if (const int error = takeOutputError(); error != 0) {
        ZV_LOG_AT(UTIL_LOG_ERROR, __LINE__, logSource, "Failed to write the answer: %s\n", std::strerror(error));
    }
}

std::terminate_handler terminateBefore = nullptr;

// True also when there is no exception: C++ has had no memory for it.
bool endsForLackOfMemory() {
    const std::type_info* const type = abi::__cxa_current_exception_type();
    return type == nullptr || *type == typeid(std::bad_alloc);
}

// Where there is no memory for an exception either, C++ calls this. Ending by exit takes the reply queue along. What
// else nobody catches comes from a closed library, which may have a handler of its own for it.
[[noreturn]] void endWithoutMemory() {
    if (endsForLackOfMemory()) {
        std::exit(ZV_ERR_OUTOFMEM);
    }
    terminateBefore();
    std::abort();
}

void watchTermination() {
    const std::terminate_handler before = std::set_terminate(endWithoutMemory);
    terminateBefore = before == endWithoutMemory ? terminateBefore : before;
}

} // namespace

int zvControlMain() try {
    watchTermination();
    const int result = serveRequest();
    logOutputError();
    return result;
} catch (...) {
    return ZV_ERR_OUTOFMEM; // what is open ends with the process, and takes the reply queue along
}
