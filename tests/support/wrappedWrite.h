// A write(2) that a test can make take less, be interrupted or fail. The test program is linked with
// "-Wl,--wrap=write"; only calls from its own objects and static libraries are wrapped.
#pragma once

#include <cstddef>
#include <deque>
#include <vector>

namespace zvtest {

struct WriteStep {
    std::size_t most = 0; // takes at most so many bytes
    int error = 0;        // or fails with this error
};

struct WrappedWrite {
    std::deque<WriteStep> script;   // one step a call; without one, write(2) itself
    std::vector<std::size_t> sizes; // what the calls offered
};

// The one of the process.
WrappedWrite& wrappedWrite();

} // namespace zvtest
