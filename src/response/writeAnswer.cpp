#include "writeAnswer.h"

#include "writeAll.h"

#include <new>
#include <unistd.h>

bool writeAnswer(const std::stringstream& stream) {
    if (stream.bad()) {
        return false;
    }
#if _GLIBCXX_USE_CXX11_ABI
    static_cast<void>(zv::writeAll(STDOUT_FILENO, stream.view()));
    return true;
#else
    // Streams of the string type from before C++11, which a closed library may need, give copies only.
    try {
        static_cast<void>(zv::writeAll(STDOUT_FILENO, stream.str()));
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
#endif
}
