// Opening a file whose path may name anything.
#pragma once

#include <fcntl.h>

namespace zv {

// Opens a file for reading. -1 with errno when it cannot be opened. A pipe is opened without waiting for its writer, a
// terminal does not become this process's, and a started program does not inherit the descriptor.
inline int openForReading(const char* path) {
    return open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
}

} // namespace zv
