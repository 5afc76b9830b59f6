#include "zvUtil.h"

#include <cctype>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr pid_t initProcess = 1;

} // namespace

char* trim(char* s) {
    if (s == nullptr) {
        return nullptr;
    }
    while (std::isblank(static_cast<unsigned char>(*s)) != 0) {
        ++s;
    }
    return *s != '\0' ? s : nullptr;
}

int daemon_init() {
    if (getppid() == initProcess) {
        return 0;
    }
    const pid_t child = fork();
    if (child < 0) {
        return -1;
    }
    if (child > 0) {
        // Not exit: the child writes what the stdio buffers hold.
        _exit(0);
    }
    setsid();
    const int result = chdir("/");
    umask(0);
    return result;
}
