#include "wrappedSystem.h"

#include "scarceMemory.h"

#include <cerrno>

namespace zvtest {

WrappedSystem& wrappedSystem() {
    static WrappedSystem wrapped;
    return wrapped;
}

} // namespace zvtest

extern "C" int __real_system(const char* command);
extern "C" int __wrap_system(const char* command);

int __wrap_system(const char* command) {
    const zvtest::PlentyOfMemory plenty;
    auto& wrapped = zvtest::wrappedSystem();
    wrapped.commands.emplace_back(command);
    wrapped.moments.push_back(std::chrono::steady_clock::now());
    if (static_cast<int>(wrapped.commands.size()) == wrapped.failing) {
        errno = wrapped.error != 0 ? wrapped.error : errno;
        return wrapped.status;
    }
    return __real_system(command);
}
