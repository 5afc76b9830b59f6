// Memory that runs out when a test says so. Linking this replaces the program's operator new and delete.
#pragma once

#include <cstddef>
#include <limits>
#include <utility>

namespace zvtest {

inline constexpr std::size_t unlimitedMemory = std::numeric_limits<std::size_t>::max();

// The most bytes that one call of operator new gives in this thread.
inline thread_local std::size_t memoryLimit = unlimitedMemory;

// While one lives, operator new throws std::bad_alloc in this thread for more than `most` bytes at a time. A peer or a
// log in a thread of its own has all the memory that it needs.
class ScarceMemory {
public:
    explicit ScarceMemory(std::size_t most);
    ~ScarceMemory();
    ScarceMemory(const ScarceMemory&) = delete;
    ScarceMemory& operator=(const ScarceMemory&) = delete;
};

// While one lives, memory is not scarce. For stand-ins: their journals must not fail in the place of the code under
// test, nor throw through a C interface. A program that uses only this need not link the replaced operators.
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
