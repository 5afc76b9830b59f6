#include "command_analytics.h"

#include "analyticsFile.h"
#include "answerStatus.h"
#include "answerStream.h"
#include "csi.h"
#include "writeAnswer.h"
#include "zvCtrlD.h"
#include "zvErrno.h"
#include "zvLog.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <unistd.h>

namespace {

// Fixed: clients tell the error answers apart by these line numbers.
constexpr int lineBusy = 57;
constexpr int lineSeekEnd = 83;
constexpr int lineSeekStart = 93;
constexpr int lineOpen = 107;

constexpr std::size_t pathSize = 257; // of the daemon's answer
constexpr std::size_t headerSize = 96;

struct CloseFile {
    void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

int answerError(int status, const char* message, int line) {
    watchMemory();
    AnswerStream stream;
    http_print_error_response_ex(stream, std::getenv("PATH_INFO"), std::getenv("QUERY_STRING"), status, ZV_ERR, message,
                                 "handle_command_analytics", line);
    return writeAnswer(stream) ? ZV_ERR_RESPONSE_ALREADY_SENT : ZV_ERR_OUTOFMEM;
}

int answerNoContent(int line) {
    return answerError(httpNoContent, "no content", line);
}

// Fixed: clients and web servers know the header in this form, two fields in one line and no status.
bool sendHeader(std::int32_t size) {
    char header[headerSize];
    std::snprintf(header, sizeof header, "%s %d %s application/octet-stream\r\n\r\n", "Content-Length: ", size,
                  "Content-Type: ");
    return writeOutput(header);
}

int answerFile(const char* path) {
    const File file(openAnalytics(path));
    if (file == nullptr) {
        return answerNoContent(lineOpen);
    }
    std::int32_t size = 0;
    if (seekAnalyticsEnd(file.get(), size) != 0) {
        return answerNoContent(lineSeekEnd);
    }
    if (seekAnalyticsStart(file.get()) != 0) {
        return answerNoContent(lineSeekStart);
    }
    if (sendHeader(size)) { // bytes without a header would pass for a header themselves
        // No more than was announced: the daemon may append to the file meanwhile.
        sendAnalytics(STDOUT_FILENO, file.get(), size);
    }
    return ZV_ERR_RESPONSE_ALREADY_SENT;
}

} // namespace

int handle_command_analytics(const char* /*params*/, char* /*response*/, int /*responseSize*/) try {
    int returned = 0;
    std::int32_t recording = 0;
    if (csi_get(CSI_RECORDING, sizeof recording, &returned, &recording) != 0) {
        return ZV_ERR;
    }
    if (recording != 0) {
        return answerError(httpForbidden, "busy", lineBusy);
    }
    char path[pathSize] = {};
    const int asked = zvcontrol_send_command_param_response(ZVCONTROL_CMD_ANALYTICS_GET, nullptr, 0, path, sizeof path);
    if (asked != ZV_OK) {
        return asked;
    }
    path[sizeof path - 1] = '\0';
    ZV_LOG_AT(UTIL_LOG_DEBUG, __LINE__, "command_analytics", "Got Analytics file response [%s] \n", path);
    return answerFile(path);
} catch (...) {
    return ZV_ERR_OUTOFMEM;
}

int handle_command_analytics_clear(const char* /*params*/, char* /*response*/, int /*responseSize*/) {
    static_cast<void>(zvcontrol_send_command_param_response(ZVCONTROL_CMD_ANALYTICS_CLEAR, nullptr, 0, nullptr, 0));
    return ZV_OK;
}
