#include "scarceMemory.h"

#include <cstdlib>
#include <new>

namespace zvtest {

ScarceMemory::ScarceMemory(std::size_t most) {
    memoryLimit = most;
}

ScarceMemory::~ScarceMemory() {
    memoryLimit = unlimitedMemory;
}

} // namespace zvtest

void* operator new(std::size_t size) {
    for (;;) {
        void* const memory = size > zvtest::memoryLimit ? nullptr : std::malloc(size == 0 ? 1 : size);
        if (memory != nullptr) {
            return memory;
        }
        const std::new_handler handler = std::get_new_handler();
        if (handler == nullptr) {
            throw std::bad_alloc();
        }
        handler();
    }
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
