// Stands in front of malloc, calloc and free, and records the blocks that the program itself takes: not those of the
// libraries. Where a sanitizer keeps the heap, it is asked first and nothing is recorded.
#include "journal.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <elf.h>
#include <link.h>
#include <sys/auxv.h>

// NOLINTBEGIN(readability-identifier-naming): the names are the C library's
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void __libc_free(void* block);
}
// NOLINTEND(readability-identifier-naming)

namespace {

struct Range {
    std::uintptr_t start = 0;
    std::uintptr_t end = 0;
};

// The program's instructions, from the table of its own segments that the kernel gives every process.
Range findProgram() {
    const auto* const first = std::bit_cast<const ElfW(Phdr)*>(getauxval(AT_PHDR));
    const unsigned long count = getauxval(AT_PHNUM);
    std::uintptr_t base = 0;
    Range range;
    for (const auto* header = first; header != first + count; ++header) {
        if (header->p_type == PT_PHDR) {
            base = reinterpret_cast<std::uintptr_t>(first) - header->p_vaddr;
        } else if (header->p_type == PT_LOAD && (header->p_flags & PF_X) != 0) {
            range = {base + header->p_vaddr, base + header->p_vaddr + header->p_memsz};
        }
    }
    return range;
}

bool isProgram(const void* caller) {
    static const Range program = findProgram();
    const auto address = reinterpret_cast<std::uintptr_t>(caller);
    return address >= program.start && address < program.end;
}

// The blocks in the order in which the program took them.
constexpr int blockLimit = 16;
void* blocks[blockLimit];
int blockCount = 0;

// Records a block when the program took it.
template<typename... Arguments>
void* taken(void* block, const void* caller, const Arguments&... call) {
    if (isProgram(caller) && blockCount < blockLimit) {
        blocks[blockCount++] = block;
        journal::record(call..., ") = block", blockCount);
    }
    return block;
}

} // namespace

extern "C" {

void* malloc(std::size_t size) {
    return taken(__libc_malloc(size), __builtin_return_address(0), "malloc(", size);
}

void* calloc(std::size_t count, std::size_t size) {
    return taken(__libc_calloc(count, size), __builtin_return_address(0), "calloc(", count, ", ", size);
}

void free(void* block) {
    for (int i = 0; i < blockCount; ++i) {
        if (block != nullptr && blocks[i] == block) {
            blocks[i] = nullptr;
            journal::record("free(block", i + 1, ")");
        }
    }
    __libc_free(block);
}

} // extern "C"
