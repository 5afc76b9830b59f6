// Reads bytes in order, never past their end: a read that does not fit yields zeros and sets overrun().
#pragma once

#include <cstdint>
#include <span>

namespace zvcamera {

class Cursor {
public:
    explicit Cursor(std::span<const std::uint8_t> bytes) : rest_(bytes) {}

    std::uint8_t byte() {
        const std::span<const std::uint8_t> one = take(1);
        return one.empty() ? std::uint8_t{0} : one[0];
    }
    std::uint16_t big16() {
        const std::span<const std::uint8_t> two = take(2);
        return two.empty() ? std::uint16_t{0} : static_cast<std::uint16_t>(two[0] << 8 | two[1]);
    }
    std::uint16_t little16() {
        const std::span<const std::uint8_t> two = take(2);
        return two.empty() ? std::uint16_t{0} : static_cast<std::uint16_t>(two[1] << 8 | two[0]);
    }
    // The next count bytes, or none of them when there are fewer.
    std::span<const std::uint8_t> take(std::size_t count) {
        if (count > rest_.size()) {
            overrun_ = true;
            return {};
        }
        const std::span<const std::uint8_t> taken = rest_.first(count);
        rest_ = rest_.subspan(count);
        return taken;
    }
    std::size_t left() const { return rest_.size(); }
    bool overrun() const { return overrun_; }

private:
    std::span<const std::uint8_t> rest_;
    bool overrun_ = false;
};

} // namespace zvcamera
