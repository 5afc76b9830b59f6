#include "wrappedWrite.h"

#include "scarceMemory.h"

#include <algorithm>
#include <cerrno>
#include <sys/types.h>

namespace zvtest {

WrappedWrite& wrappedWrite() {
    static WrappedWrite wrapped;
    return wrapped;
}

} // namespace zvtest

extern "C" ssize_t __real_write(int descriptor, const void* data, std::size_t size);
extern "C" ssize_t __wrap_write(int descriptor, const void* data, std::size_t size);

ssize_t __wrap_write(int descriptor, const void* data, std::size_t size) {
    const zvtest::PlentyOfMemory plenty;
    auto& wrapped = zvtest::wrappedWrite();
    wrapped.sizes.push_back(size);
    if (wrapped.script.empty()) {
        return __real_write(descriptor, data, size);
    }
    const zvtest::WriteStep step = wrapped.script.front();
    wrapped.script.pop_front();
    if (step.error != 0) {
        errno = step.error;
        return -1;
    }
    return __real_write(descriptor, data, std::min(size, step.most));
}
