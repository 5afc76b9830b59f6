#include "zvControl.h"

#include "cameraDescription.h"
#include "handlerTable.h"
#include "writeAnswer.h"
#include "zvCtrlD.h"
#include "zvErrno.h"
#include "zvLog.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string_view>

namespace {

constexpr const char* logSource = "zvControl";

// Lent to the handler that serves the request, which leaves a zero-terminated text in it or leaves it empty.
char response[4096];

bool openInterface(int& result) {
    result = zvcontrol_uri_interface_open();
    if (result != ZV_OK) {
        ZV_LOG_AT(UTIL_LOG_ERROR, 120, logSource, "Error[%d] opening the daemon interface\n", result);
        return false;
    }
    result = register_custom_handlers();
    if (result != ZV_OK) {
        ZV_LOG_AT(UTIL_LOG_ERROR, 128, logSource, "Unable to add custom handlers err:%d at line:%d\n", result, 128);
        static_cast<void>(zvcontrol_uri_interface_close());
        return false;
    }
    return true;
}

void answerSuccess(std::ostream& stream) {
    http_output_success_header(stream);
    const std::string_view text(response, strnlen(response, sizeof response));
    if (text.empty()) {
        http_output_empty_json(stream);
    } else {
        stream << text;
    }
}

// The environment is read again: handlers run in this process and may have changed it.
void answerError(std::ostream& stream, int result) {
    const char* const path = std::getenv("PATH_INFO");
    const char* const params = std::getenv("QUERY_STRING");
    if (result == ZV_ERR_NOT_SUPPORTED) {
        // Deliberately reported under another code, with a fixed text: both are part of the interface.
        http_print_error_response_ex(stream, path, params, 400, ZV_ERR_INVALID_PARAM, "unknown request", "main", 143);
        return;
    }
    const int status = result == ZV_ERR_INCOMPLETE_CGI_PARAM ? 400 : 500;
    http_print_error_response_ex(stream, path, params, status, result, path, "main", 150);
}

// The result with which the request ends.
int answer(std::stringstream& stream, int result) {
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

int serve(std::stringstream& stream, const char* path, const char* params) {
    int result = ZV_OK;
    if (!openInterface(result)) {
        return result;
    }
    result = zvcontrol_uri_handle_uri_param(path, params, response, sizeof response);
    const int ending = answer(stream, result);
    if (zvcontrol_uri_interface_close() != ZV_OK) {
        // Deliberately the dispatcher's result, not that of closing: it tells which answer the failure belongs to.
        std::fprintf(stderr, "Error[%d] closing the daemon interface\n", result);
    }
    return ending;
}

} // namespace

int zvControlMain() try {
    std::stringstream stream;
    zvUtilSetLogLevel(UTIL_LOG_TRACE);
    std::fill(std::begin(response), std::end(response), '\0');
    const char* const path = std::getenv("PATH_INFO");
    const char* const params = std::getenv("QUERY_STRING");
    ZV_LOG_AT(UTIL_LOG_DEBUG, 100, logSource, "Executing zvControl-cgi-bin path[%s] params[%s]\n", path, params);
    if (path == nullptr || *path == '\0') {
        static_cast<void>(camera_description_output_json(stream));
        return writeAnswer(stream) ? ZV_OK : ZV_ERR_OUTOFMEM;
    }
    return serve(stream, path, params);
} catch (...) {
    return ZV_ERR_OUTOFMEM; // the process ends now, and with it what is open
}
