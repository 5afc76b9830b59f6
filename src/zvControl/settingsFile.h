/*
 * The settings document that the camera keeps for each model.
 */
#pragma once

#include "uniqueFd.h"

#include <cstddef>
#include <ostream>

inline constexpr int settings_path_size = 256;

/* More than any model's settings; a file beyond it is not taken for one. */
inline constexpr std::size_t settings_max_size = std::size_t{16} << 20;

/*
 * Builds the path of a model's settings file, cut to 255 characters: of the model with that code name, or, when there
 * is no such file (logged at warning level), of the default one.
 */
void find_settings(const char* model, const char* default_model, char (&path)[settings_path_size]);

/*
 * The settings file, opened for reading. read_lines appends its lines to the stream, joined with nothing between them;
 * false when the file cannot be read to its end or is beyond settings_max_size, and when the stream is bad, as it is
 * when it got no memory. What was read until then stays in the stream.
 */
class SettingsFile {
public:
    explicit SettingsFile(const char* path);

    bool isOpen() const { return file_.ok(); }
    bool read_lines(std::ostream& stream);

private:
    zv::UniqueFd file_;
};
