#include "fileStandIn.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

int descriptor = -1; // of the file, while it is open
std::size_t position = 0;

bool standsFor(const char* path) {
    constexpr char installed[] = "/usr/local/zarvo/";
    return std::strncmp(path, installed, sizeof installed - 1) == 0;
}

} // namespace

namespace zvfuzz {

FileStandIn& file() {
    static FileStandIn one;
    return one;
}

} // namespace zvfuzz

using zvfuzz::file;

extern "C" {

int __real_open64(const char* path, int flags, ...);
int __real_stat64(const char* path, struct stat* status);
ssize_t __real_read(int from, void* block, std::size_t size);

int __wrap_open64(const char* path, int flags, ...) {
    if (standsFor(path)) {
        if (!file().exists) {
            errno = ENOENT;
            return -1;
        }
        position = 0;
        descriptor = __real_open64("/dev/null", O_RDONLY | O_CLOEXEC);
        return descriptor;
    }
    va_list arguments;
    va_start(arguments, flags);
    const int mode = va_arg(arguments, int);
    va_end(arguments);
    return __real_open64(path, flags, mode);
}

int __wrap_stat64(const char* path, struct stat* status) {
    if (!standsFor(path)) {
        return __real_stat64(path, status);
    }
    errno = ENOENT;
    return file().exists ? 0 : -1;
}

ssize_t __wrap_read(int from, void* block, std::size_t size) {
    if (from < 0 || from != descriptor) {
        return __real_read(from, block, size);
    }
    const std::size_t length = std::min({size, file().piece, file().content.size() - position});
    file().content.copy(static_cast<char*>(block), length, position);
    position += length;
    if (length == 0) {
        descriptor = -1;
    }
    return static_cast<ssize_t>(length);
}

} // extern "C"
