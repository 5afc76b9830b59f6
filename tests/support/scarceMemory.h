// Memory that runs out where a test says so. Linking this replaces the program's operator new and delete.
#pragma once

#include <cstddef>
#include <limits>
#include <utility>

namespace zvtest {

inline constexpr std::size_t unlimitedMemory = std::numeric_limits<std::size_t>::max();

// What operator new gives at most at a time.
inline std::size_t memoryLimit = unlimitedMemory;

// While one lives, operator new throws std::bad_alloc for more than so many bytes at a time.
class ScarceMemory {
public:
    explicit ScarceMemory(std::size_t most);
    ~ScarceMemory();
    ScarceMemory(const ScarceMemory&) = delete;
    ScarceMemory& operator=(const ScarceMemory&) = delete;
};

// While one lives, scarce memory is not: for stand-ins, which keep a journal and must not fail in the place of what is
// tested, nor throw through an interface of C. Needs nothing to be linked.
class PlentyOfMemory {
public:
    PlentyOfMemory() : before_(std::exchange(memoryLimit, unlimitedMemory)) {}
    ~PlentyOfMemory() { memoryLimit = before_; }
    PlentyOfMemory(const PlentyOfMemory&) = delete;
    PlentyOfMemory& operator=(const PlentyOfMemory&) = delete;

private:
    std::size_t before_;
};

} // namespace zvtest
