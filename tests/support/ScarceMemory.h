// Memory that runs out where a test says so. Linking this replaces the program's operator new and delete.
#pragma once

#include <cstddef>

namespace zvtest {

// While one lives, operator new throws std::bad_alloc for more than so many bytes at a time.
class ScarceMemory {
public:
    explicit ScarceMemory(std::size_t most);
    ~ScarceMemory();
    ScarceMemory(const ScarceMemory&) = delete;
    ScarceMemory& operator=(const ScarceMemory&) = delete;
};

} // namespace zvtest
