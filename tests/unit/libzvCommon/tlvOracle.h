// What the TLV operations must answer, computed from the bytes alone: for the exhaustive and the random tests.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace zvtest {

using Bytes = std::vector<std::uint8_t>;

// Memory that ends at an inaccessible page.
class GuardedBuffer {
public:
    explicit GuardedBuffer(std::size_t size) : page_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))) {
        const std::size_t pages = size / page_ + 1;
        total_ = (pages + 1) * page_;
        void* map = mmap(nullptr, total_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        base_ = static_cast<std::uint8_t*>(map);
        mprotect(base_ + pages * page_, page_, PROT_NONE);
        end_ = base_ + pages * page_;
        size_ = size;
    }
    ~GuardedBuffer() { munmap(base_, total_); }
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;

    // The last size bytes before the inaccessible page.
    std::uint8_t* last(std::size_t size) { return end_ - size; }
    std::uint8_t* data() { return last(size_); }
    // Copies the bytes there, so that they end at the inaccessible page.
    std::uint8_t* place(const Bytes& bytes) {
        return std::copy(bytes.begin(), bytes.end(), last(bytes.size())) - bytes.size();
    }

private:
    std::size_t page_;
    std::size_t total_ = 0;
    std::size_t size_ = 0;
    std::uint8_t* base_ = nullptr;
    std::uint8_t* end_ = nullptr;
};

struct Found {
    std::size_t offset;
    std::size_t length; // as the header says
};

inline int totalOf(const Bytes& message) {
    const int total = message[0] * 256 + message[1];
    return total >= 32768 ? total - 65536 : total;
}

// All elements whose headers lie inside the total length, and the offset where the walk over them ends.
struct Elements {
    std::vector<Found> all;
    std::size_t end = 4;
};

inline Elements elementsOf(const Bytes& message) {
    Elements elements;
    const int total = totalOf(message);
    while (total >= 0 && elements.end + 4 <= static_cast<std::size_t>(total)) {
        const std::size_t at = elements.end;
        const std::size_t length = message[at + 1] * 256U + message[at + 2];
        elements.all.push_back({at, length});
        elements.end = at + 4 + length;
    }
    return elements;
}

inline std::optional<Found> firstOf(const Bytes& message, std::uint8_t tag) {
    for (const Found& found : elementsOf(message).all) {
        if (message[found.offset + 3] == tag) {
            return found;
        }
    }
    return std::nullopt;
}

inline int verdictOf(const Bytes& message) {
    const int total = totalOf(message);
    if (total <= 4 || message[static_cast<std::size_t>(total) - 1] != 238) {
        return -1;
    }
    const std::size_t end = static_cast<std::size_t>(total);
    if (const auto tail = firstOf(message, 238)) {
        return tail->offset + 4 == end && tail->length == 0 ? 0 : -1;
    }
    if (elementsOf(message).end == end) {
        return -1;
    }
    const bool payload = firstOf(message, 66).has_value();
    const bool response = firstOf(message, 69).has_value();
    switch (message[3]) {
    case 1:
    case 3:
    case 5:
    case 7:
    case 9:
    case 11:
    case 13:
        return payload && response ? -2 : -3;
    }
    return payload && !response ? -2 : -3;
}

} // namespace zvtest
