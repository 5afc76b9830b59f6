#include "openFaults.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>

extern "C" int __real_open64(const char* path, int flags, ...);
extern "C" int __wrap_open64(const char* path, int flags, mode_t mode);

int __wrap_open64(const char* path, int flags, mode_t mode) {
    if (zvtest::unopenable != nullptr && std::strcmp(path, zvtest::unopenable) == 0) {
        errno = ENOENT;
        return -1;
    }
    return __real_open64(path, flags, mode);
}
