#include "ScarceMemory.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();
std::size_t limit = unlimited;

} // namespace

namespace zvtest {

ScarceMemory::ScarceMemory(std::size_t most) {
    limit = most;
}

ScarceMemory::~ScarceMemory() {
    limit = unlimited;
}

} // namespace zvtest

void* operator new(std::size_t size) {
    void* const memory = size > limit ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
