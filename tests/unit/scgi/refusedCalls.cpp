#include "refusedCalls.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/types.h>

extern "C" int __real_open64(const char* path, int flags, ...);
extern "C" int __wrap_open64(const char* path, int flags, mode_t mode);
extern "C" int __real_lchown(const char* path, uid_t user, gid_t group);
extern "C" int __wrap_lchown(const char* path, uid_t user, gid_t group);
extern "C" int __real_listen(int socket, int waiting);
extern "C" int __wrap_listen(int socket, int waiting);

namespace {

int refuse() {
    errno = EPERM;
    return -1;
}

} // namespace

int __wrap_lchown(const char* path, uid_t user, gid_t group) {
    return zvtest::chownFails ? refuse() : __real_lchown(path, user, group);
}

int __wrap_listen(int socket, int waiting) {
    return zvtest::listenFails ? refuse() : __real_listen(socket, waiting);
}

int __wrap_open64(const char* path, int flags, mode_t mode) {
    if (zvtest::unopenable != nullptr && std::strcmp(path, zvtest::unopenable) == 0) {
        errno = ENOENT;
        return -1;
    }
    return __real_open64(path, flags, mode);
}
