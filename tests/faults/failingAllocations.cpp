// Preloaded into the control program: lets one allocation fail, or all from one on, and counts them.
//
//   ZV_FAIL_ALLOCATION   N: the Nth fails; N+: it and all later ones; N:M+: the Nth, and all from the Mth on
//   ZV_ALLOCATIONS       file for their number, written when the program ends
//
// What the loader allocates before there is an environment is not counted.

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

// The C library's own, by the names that it exports for a library like this one.
extern "C" {
void* ownMalloc(std::size_t size) asm("__libc_malloc");
void* ownCalloc(std::size_t number, std::size_t size) asm("__libc_calloc");
void* ownRealloc(void* memory, std::size_t size) asm("__libc_realloc");
void* ownMemalign(std::size_t alignment, std::size_t size) asm("__libc_memalign");
}

namespace {

unsigned long count = 0;
unsigned long failing = 0;     // this one; 0: none
unsigned long failingFrom = 0; // these; 0: none
bool ready = false;

bool readEnvironment() {
    if (environ == nullptr) {
        return false;
    }
    if (const char* const given = std::getenv("ZV_FAIL_ALLOCATION"); given != nullptr) {
        char* end = nullptr;
        const unsigned long first = std::strtoul(given, &end, 10);
        failing = first;
        failingFrom = *end == '+' ? first : *end == ':' ? std::strtoul(end + 1, &end, 10) : 0;
    }
    return true;
}

bool fails() {
    ready = ready || readEnvironment();
    if (!ready) {
        return false;
    }
    ++count;
    const bool failed = count == failing || (failingFrom != 0 && count >= failingFrom);
    if (failed) {
        errno = ENOMEM;
    }
    return failed;
}

const char* countFile = nullptr;

// What the program starts shall have all its memory.
__attribute__((constructor)) void hide() {
    countFile = std::getenv("ZV_ALLOCATIONS");
    ready = ready || readEnvironment();
    unsetenv("LD_PRELOAD");
    unsetenv("ZV_FAIL_ALLOCATION");
    unsetenv("ZV_ALLOCATIONS");
}

__attribute__((destructor)) void tell() {
    if (countFile == nullptr) {
        return;
    }
    char text[32];
    const int length = std::snprintf(text, sizeof text, "%lu", count);
    const int file = open(countFile, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (file >= 0 && write(file, text, static_cast<std::size_t>(length)) != length) {
        std::abort();
    }
}

} // namespace

extern "C" {

void* malloc(std::size_t size) {
    return fails() ? nullptr : ownMalloc(size);
}

void* calloc(std::size_t number, std::size_t size) {
    return fails() ? nullptr : ownCalloc(number, size);
}

void* realloc(void* memory, std::size_t size) {
    return fails() ? nullptr : ownRealloc(memory, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return fails() ? nullptr : ownMemalign(alignment, size);
}

void* memalign(std::size_t alignment, std::size_t size) {
    return fails() ? nullptr : ownMemalign(alignment, size);
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    void* const given = fails() ? nullptr : ownMemalign(alignment, size);
    if (given == nullptr) {
        return ENOMEM;
    }
    *memory = given;
    return 0;
}
}
