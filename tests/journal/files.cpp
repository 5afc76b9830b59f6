// Stands in front of the files. Those below the camera's folders are looked for in the folder that ZV_JOURNAL_ROOT
// names, and recorded; so is what is written to standard output. Everything else is passed on.
#include "cLibrary.h"
#include "journal.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

using journal::quoted;
using journal::record;

namespace {

// Where a file of the camera really is; empty for any other file.
std::string cameraFile(const char* path) {
    const char* const root = std::getenv("ZV_JOURNAL_ROOT");
    for (const char* const folder : {"/usr/local/zarvo/", "/tmp/fuse_d/"}) {
        if (root != nullptr && std::strncmp(path, folder, std::strlen(folder)) == 0) {
            return std::string(root) + path;
        }
    }
    return "";
}

int openFile(const char* path, int flags, mode_t mode) {
    const std::string file = cameraFile(path);
    const auto descriptor =
        static_cast<int>(syscall(SYS_openat, AT_FDCWD, file.empty() ? path : file.c_str(), flags, mode));
    if (!file.empty()) {
        record("open(", quoted(path), ") = ", descriptor == -1 ? "failed" : "ok");
    }
    return descriptor;
}

std::FILE* openStream(const char* name, const char* path, const char* mode) {
    const std::string file = cameraFile(path);
    auto* const opened = real<std::FILE*(const char*, const char*)>(name)(file.empty() ? path : file.c_str(), mode);
    if (!file.empty()) {
        record("open(", quoted(path), ") = ", opened == nullptr ? "failed" : "ok");
    }
    return opened;
}

template<typename Status>
int fileStatus(const char* name, const char* path, Status* status) {
    const std::string file = cameraFile(path);
    const int result = real<int(const char*, Status*)>(name)(file.empty() ? path : file.c_str(), status);
    if (!file.empty()) {
        record("stat(", quoted(path), ") = ", result);
    }
    return result;
}

} // namespace

// NOLINTBEGIN(readability-identifier-naming): the names are the C library's
extern "C" {

ssize_t write(int file, const void* data, std::size_t size) {
    if (file == STDOUT_FILENO) {
        const std::string_view text(static_cast<const char*>(data), size);
        record("write(1, ", journal::isText(text) ? quoted(text) : std::to_string(size) + " bytes", ")");
    }
    return syscall(SYS_write, file, data, size);
}

int open(const char* path, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return openFile(path, flags, mode);
}

int open64(const char* path, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return openFile(path, flags | O_LARGEFILE, mode);
}

std::FILE* fopen(const char* path, const char* mode) {
    return openStream("fopen", path, mode);
}

std::FILE* fopen64(const char* path, const char* mode) {
    return openStream("fopen64", path, mode);
}

int stat(const char* path, struct stat* status) {
    return fileStatus("stat", path, status);
}

int stat64(const char* path, struct stat64* status) {
    return fileStatus("stat64", path, status);
}

} // extern "C"
// NOLINTEND(readability-identifier-naming)
