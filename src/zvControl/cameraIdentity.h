/*
 * What the camera says of itself: the state that the camera description shows.
 */
#pragma once

#include <iosfwd>

inline constexpr int cameraTextSize = 256;
inline constexpr unsigned char defaultModelNumber = 13;

struct CameraIdentity {
    unsigned char modelNumber = defaultModelNumber;
    char modelName[cameraTextSize] = {};
    char firmwareVersion[cameraTextSize] = {};
    char serialNumber[cameraTextSize] = {};
    char boardType[cameraTextSize] = {};
    char apMac[cameraTextSize] = {};
    char apSsid[cameraTextSize] = {};
    bool apHasDefaultCredentials = false;
};

/*
 * Read the model number, and everything else. 0; or the code of the first getter that fails, which is logged at error
 * level and answered in the stream. What was read before it stays in state.
 */
int readModelNumber(CameraIdentity& state, std::ostream& stream);
int readCameraState(CameraIdentity& state, std::ostream& stream);

/* Writes the error answer of the camera description: status 500, the request as the environment has it. */
void writeDescriptionError(std::ostream& stream, int errorCode, const char* message, int line);
