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
 * Builds the path of a model's settings file, cut to 255 characters: of the model with that code name, or, when there
 * is no such file (logged at warning level), of the default one.
 */
void findSettings(const char* model, const char* defaultModel, char (&path)[settingsPathSize]);

/*
 * The settings file, opened for reading. readLines appends its lines to the stream, joined with nothing between them;
 * false when the file cannot be read to its end or is beyond settingsMaxSize, and when the stream is bad, as it is
 * when it got no memory. What was read until then stays in the stream.
 */
class SettingsFile {
public:
    explicit SettingsFile(const char* path);

    bool isOpen() const { return file_.ok(); }
    bool readLines(std::ostream& stream);

private:
    zv::UniqueFd file_;
};
