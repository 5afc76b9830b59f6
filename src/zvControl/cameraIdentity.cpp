#include "cameraIdentity.h"

#include "answerStatus.h"
#include "zvCtrlD.h"
#include "zvErrno.h"
#include "zvLog.h"

#include <cstdlib>

namespace {

// Fixed: clients and readers of the log know each getter's name and the line numbers of its two messages.
struct Report {
    const char* name;
    int logLine;
    int answerLine;
};

struct TextGetter {
    Report report;
    int (*get)(char* text, int size);
    char (CameraIdentity::*text)[cameraTextSize];
};

constexpr Report modelNumber = {"zvc_state_get_model_number", 226, 228};
constexpr Report credentials = {"zvc_state_get_ap_has_default_credentials", 297, 299};

// In the order in which they are asked.
constexpr TextGetter textGetters[] = {
    {{"zvc_state_get_model_name", 243, 245}, zvc_state_get_model_name, &CameraIdentity::modelName},
    {{"zvc_state_get_firmware_version", 252, 254}, zvc_state_get_firmware_version, &CameraIdentity::firmwareVersion},
    {{"zvc_state_get_serial_number", 261, 263}, zvc_state_get_serial_number, &CameraIdentity::serialNumber},
    {{"zvc_state_get_board_type", 270, 272}, zvc_state_get_board_type, &CameraIdentity::boardType},
    {{"zvc_state_get_ap_mac", 279, 281}, zvc_state_get_ap_mac, &CameraIdentity::apMac},
    {{"zvc_state_get_ap_ssid", 288, 290}, zvc_state_get_ap_ssid, &CameraIdentity::apSsid},
};

int check(int result, const Report& report, std::ostream& stream) {
    if (result != ZV_OK) {
        ZV_LOG_AT(UTIL_LOG_ERROR, report.logLine, "zvControl", "%s err, %d\n", report.name, result);
        writeDescriptionError(stream, result, report.name, report.answerLine);
    }
    return result;
}

int readText(const TextGetter& row, CameraIdentity& state, std::ostream& stream) {
    char(&text)[cameraTextSize] = state.*row.text;
    const int result = row.get(text, cameraTextSize);
    text[cameraTextSize - 1] = '\0';
    return check(result, row.report, stream);
}

} // namespace

int readModelNumber(CameraIdentity& state, std::ostream& stream) {
    return check(zvc_state_get_model_number(&state.modelNumber), modelNumber, stream);
}

int readCameraState(CameraIdentity& state, std::ostream& stream) {
    for (const TextGetter& row : textGetters) {
        const int result = readText(row, state, stream);
        if (result != ZV_OK) {
            return result;
        }
    }
    return check(zvc_state_get_ap_has_default_credentials(&state.apHasDefaultCredentials), credentials, stream);
}

void writeDescriptionError(std::ostream& stream, int errorCode, const char* message, int line) {
    http_print_error_response_ex(stream, std::getenv("PATH_INFO"), std::getenv("QUERY_STRING"), httpInternalServerError,
                                 errorCode, message, "camera_description_output_json", line);
}
