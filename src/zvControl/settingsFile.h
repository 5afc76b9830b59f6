/*
 * The settings document that the camera keeps for each model.
 */
#pragma once

#include "uniqueFd.h"

#include <cstddef>
#include <ostream>

inline constexpr int settingsPathSize = 256;

/* Bytes of the longest settings file that is read; no model's settings come near it. */
inline constexpr std::size_t settingsMaxSize = std::size_t{16} << 20;

/*
 * Builds the path, cut to 255 characters, of the settings file of a model, which is given by its code name. Falls back
 * to the default model when there is no such file, and logs that at warning level.
 */
void findSettings(const char* model, const char* defaultModel, char (&path)[settingsPathSize]);

/*
 * The settings file, opened for reading. readLines appends its lines to the stream, with nothing between them. False
 * when the file cannot be read to its end, is longer than settingsMaxSize, or the stream has got no memory and is bad.
 * What was read until then stays in the stream.
 */
class SettingsFile {
public:
    explicit SettingsFile(const char* path);

    bool isOpen() const { return file_.ok(); }
    bool readLines(std::ostream& stream);

private:
    zv::UniqueFd file_;
};
