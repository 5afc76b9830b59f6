#include "cameraDescription.h"

#include "buildRevision.h"
#include "cameraIdentity.h"
#include "settingsFile.h"
#include "zvCtrlD.h"
#include "zvErrno.h"
#include "zvLog.h"
#include "zvModel.h"

namespace {

// Fixed: readers of the log and clients tell the messages apart by these line numbers.
constexpr int lineModelNumber = 231;
constexpr int lineUnknownModel = 236;
constexpr int lineSettings = 331; // of the error answer

// Falls back to the default model for a number that is not known. The document reports the camera's own number anyway.
const char* settingsModel(unsigned char number) {
    const char* const model = get_model_name(number);
    if (model != nullptr) {
        return model;
    }
    ZV_LOG_AT(UTIL_LOG_WARN, lineUnknownModel, "zvControl", "invalid model_number, %d\n", number);
    return get_model_name(defaultModelNumber);
}

// Cuts the text before its last closing brace, so that the settings' outermost object can take a further member.
bool cutLastBrace(AnswerStream& stream) {
    const AnswerText text = textOf(stream);
    const std::size_t brace = text.rfind('}');
    if (brace == AnswerText::npos) {
        return false;
    }
    replaceText(stream, text.substr(0, brace));
    return true;
}

// A stream that lacks memory may have lost settings that are there.
int failSettings(AnswerStream& stream, const char* path) {
    if (lacksMemory(stream)) {
        return ZV_ERR_OUTOFMEM;
    }
    replaceText(stream, ""); // no half header may be left
    writeDescriptionError(stream, ZV_ERR_FILE_OPEN, path, lineSettings);
    return ZV_ERR_FILE_OPEN;
}

void writeMember(std::ostream& stream, const char* key, const char* value) {
    stream << ",\"" << key << "\":\"" << value << '"';
}

void writeInfo(std::ostream& stream, const CameraIdentity& state) {
    stream << ",\n\"info\":{"
           << "\"model_number\":" << static_cast<int>(state.modelNumber);
    writeMember(stream, "model_name", state.modelName);
    writeMember(stream, "firmware_version", state.firmwareVersion);
    writeMember(stream, "serial_number", state.serialNumber);
    writeMember(stream, "board_type", state.boardType);
    writeMember(stream, "ap_mac", state.apMac);
    writeMember(stream, "ap_ssid", state.apSsid);
    // Fixed: clients expect a quoted digit, not a boolean.
    writeMember(stream, "ap_has_default_credentials", state.apHasDefaultCredentials ? "1" : "0");
    writeMember(stream, "git_sha1", buildRevision);
    stream << "}}";
}

int describe(AnswerStream& stream) {
    CameraIdentity state;
    int result = readModelNumber(state, stream);
    if (result != ZV_OK) {
        return result;
    }
    ZV_LOG_AT(UTIL_LOG_INFO, lineModelNumber, "zvControl", "model_number, %d\n", state.modelNumber);
    const char* const model = settingsModel(state.modelNumber);
    result = readCameraState(state, stream);
    if (result != ZV_OK) {
        return result;
    }

    char path[settingsPathSize];
    findSettings(model, get_model_name(defaultModelNumber), path);
    SettingsFile settings(path);
    if (!settings.isOpen()) {
        return failSettings(stream, path);
    }
    http_output_success_header(stream);
    goOn(stream); // a null text in the header must not swallow the settings
    if (!settings.readLines(stream) || !cutLastBrace(stream)) {
        return failSettings(stream, path);
    }
    writeInfo(stream, state);
    return ZV_OK;
}

} // namespace

int camera_description_output_json(AnswerStream& stream) {
    const int result = describe(stream);
    return lacksMemory(stream) ? ZV_ERR_OUTOFMEM : result;
}
