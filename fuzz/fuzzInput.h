// What the programs of fuzz/ share: taking an input apart, and ending where a result is wrong.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

namespace zvfuzz {

using Bytes = std::vector<std::uint8_t>;

// Reads an input from its start. Behind its end there are zeros, and texts are empty.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : rest_(data, size) {}

    bool empty() const { return rest_.empty(); }
    std::uint8_t byte() {
        const Bytes one = bytes(1);
        return one.empty() ? std::uint8_t{0} : one[0];
    }
    std::uint16_t number() { // 16 bits, big-endian
        const unsigned high = byte();
        return static_cast<std::uint16_t>(high << 8 | byte());
    }
    // As many bytes as are wanted, or all that are left.
    Bytes bytes(std::size_t wanted) {
        const auto taken = rest_.first(std::min(wanted, rest_.size()));
        rest_ = rest_.subspan(taken.size());
        return {taken.begin(), taken.end()};
    }
    std::string text(std::size_t wanted) {
        const Bytes taken = bytes(wanted);
        return {taken.begin(), taken.end()};
    }
    std::string rest() { return text(rest_.size()); }
    // A text as C has it: up to a zero byte.
    std::string line() {
        std::string text(rest_.begin(), std::find(rest_.begin(), rest_.end(), 0));
        rest_ = rest_.subspan(std::min(text.size() + 1, rest_.size()));
        return text;
    }

private:
    std::span<const std::uint8_t> rest_;
};

// Ends the program when the condition does not hold: the input is then a finding.
inline void require(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "wrong: %s\n", what);
        std::abort();
    }
}

} // namespace zvfuzz

// The name that the fuzzer calls; each program of fuzz/ defines it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size); // NOLINT(readability-identifier-naming)
