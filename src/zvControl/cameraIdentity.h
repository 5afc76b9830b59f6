/*
 * What the camera says of itself: the state that the camera description shows.
 */
#pragma once

#include <iosfwd>

inline constexpr int camera_text_size = 256;
inline constexpr unsigned char default_model_number = 13;

struct CameraIdentity {
    unsigned char model_number = default_model_number;
    char model_name[camera_text_size] = {};
    char firmware_version[camera_text_size] = {};
    char serial_number[camera_text_size] = {};
    char board_type[camera_text_size] = {};
    char ap_mac[camera_text_size] = {};
    char ap_ssid[camera_text_size] = {};
    bool ap_has_default_credentials = false;
};

/*
 * Read the model number, and everything else. 0; or the code of the first getter that fails, after logging it at error
 * level and writing the error answer into the stream. What was read before it stays in state.
 */
int read_model_number(CameraIdentity& state, std::ostream& stream);
int read_camera_state(CameraIdentity& state, std::ostream& stream);

/* Writes the error answer of the camera description: status 500, the request as the environment has it. */
void write_description_error(std::ostream& stream, int error_code, const char* message, int line);
