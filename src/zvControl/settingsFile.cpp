#include "settingsFile.h"

#include "openForReading.h"
#include "zvLog.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Fixed: readers of the log tell the lines apart by these numbers.
constexpr int lineNotFound = 308;
constexpr int lineDefault = 312;

constexpr std::size_t blockSize = 4096;

void buildPath(const char* model, char (&path)[settingsPathSize]) {
    std::snprintf(path, sizeof path, "/usr/local/zarvo/etc/%s/settings.json", model);
}

bool exists(const char* path) {
    struct stat status {};
    return stat(path, &status) == 0;
}

// Appends the text without its line ends.
void appendLines(std::ostream& stream, std::string_view text) {
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        stream << line;
        text.remove_prefix(std::min(line.size() + 1, text.size()));
    }
}

ssize_t readSome(int descriptor, char* block, std::size_t size) {
    for (;;) {
        const ssize_t length = read(descriptor, block, size);
        if (length >= 0 || errno != EINTR) {
            return length;
        }
    }
}

} // namespace

void findSettings(const char* model, const char* defaultModel, char (&path)[settingsPathSize]) {
    buildPath(model, path);
    if (exists(path)) {
        return;
    }
    ZV_LOG_AT(UTIL_LOG_WARN, lineNotFound, "zvControl", "file not found, %s\n", path);
    buildPath(defaultModel, path);
    ZV_LOG_AT(UTIL_LOG_WARN, lineDefault, "zvControl", "using default, %s\n", path);
}

SettingsFile::SettingsFile(const char* path) : file_(zv::openForReading(path)) {}

// A document that cannot be read whole is not answered at all.
bool SettingsFile::readLines(std::ostream& stream) {
    char block[blockSize];
    std::size_t total = 0;
    while (!stream.bad()) {
        const ssize_t length = readSome(file_.get(), block, sizeof block);
        if (length <= 0) {
            return length == 0;
        }
        total += static_cast<std::size_t>(length);
        if (total > settingsMaxSize) {
            return false;
        }
        appendLines(stream, {block, static_cast<std::size_t>(length)});
    }
    return false;
}
