// A library that opens a file while it is loaded.
#include <fcntl.h>

namespace {

[[gnu::constructor]] void start() {
    static_cast<void>(open("/dev/zero", O_RDONLY | O_CLOEXEC));
}

} // namespace
