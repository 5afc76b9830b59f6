// Bytes with an inaccessible page right behind them, and another one before: touching either ends the test.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <span>
#include <sys/mman.h>
#include <unistd.h>

namespace zvtest {

class Guarded {
public:
    // At most 64 KiB.
    explicit Guarded(std::span<const unsigned char> bytes) : size_(bytes.size()) {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        mapped_ = 17UL * 4096 + 2 * page;
        base_ = static_cast<unsigned char*>(
            mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        if (base_ == MAP_FAILED || mprotect(base_, page, PROT_NONE) != 0 ||
            mprotect(base_ + mapped_ - page, page, PROT_NONE) != 0 || size_ > mapped_ - 2 * page) {
            std::abort();
        }
        data_ = base_ + mapped_ - page - size_;
        if (size_ > 0) {
            std::memcpy(data_, bytes.data(), size_);
        }
    }
    Guarded(std::initializer_list<unsigned char> bytes) : Guarded(std::span(bytes.begin(), bytes.size())) {}
    ~Guarded() { munmap(base_, mapped_); }
    Guarded(const Guarded&) = delete;
    Guarded& operator=(const Guarded&) = delete;

    unsigned char* data() const { return data_; }
    unsigned short size() const { return static_cast<unsigned short>(size_); }

private:
    std::size_t size_;
    std::size_t mapped_;
    unsigned char* base_;
    unsigned char* data_;
};

} // namespace zvtest
