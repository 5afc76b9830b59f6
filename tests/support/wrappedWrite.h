// A write(2) that takes less, is interrupted or fails when a test says so. The linker wraps the calls of the program's
// own objects and static libraries (--wrap=write), and no others.
#pragma once

#include <cstddef>
#include <deque>
#include <vector>

namespace zvtest {

struct WriteStep {
    std::size_t most = 0; // takes this many bytes at most
    int error = 0;        // fails with this error, unless 0
};

struct WrappedWrite {
    std::deque<WriteStep> script;   // a step for each call; the calls after them write as usual
    std::vector<std::size_t> sizes; // the size that each call was given
};

// The process's only one.
WrappedWrite& wrappedWrite();

} // namespace zvtest
