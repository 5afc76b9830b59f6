#include "bleAddress.h"

#include "hexText.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

namespace zvcamera {
namespace {

// As much of a wrong text as an error text repeats.
constexpr std::size_t shownAddress = 40;
constexpr std::size_t shownUuid = 60;

std::string without(std::string_view text, char separator) {
    std::string kept;
    std::copy_if(text.begin(), text.end(), std::back_inserter(kept), [=](char c) { return c != separator; });
    return kept;
}

std::string mostSignificantFirst(ByteSpan stored) {
    const Bytes reversed(stored.rbegin(), stored.rend());
    return toHex(reversed);
}

} // namespace

Address parseAddress(std::string_view text) {
    const Bytes bytes = fromHex(without(text, ':'));
    Address address{};
    if (bytes.size() != address.size()) {
        throw std::invalid_argument("an address has twelve hexadecimal digits: " +
                                    std::string(text.substr(0, shownAddress)));
    }
    std::copy(bytes.rbegin(), bytes.rend(), address.begin());
    return address;
}

std::string toText(const Address& address) {
    return mostSignificantFirst(address);
}

Address addressAt(ByteSpan bytes, std::size_t offset) {
    Address address{};
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(offset), address.size(), address.begin());
    return address;
}

Bytes parseUuid(std::string_view text, std::size_t size) {
    Bytes bytes = fromHex(without(text, '-'));
    if (bytes.size() != size) {
        throw std::invalid_argument("a UUID of " + std::to_string(size * 8) + " bits has " + std::to_string(size * 2) +
                                    " hexadecimal digits: " + std::string(text.substr(0, shownUuid)));
    }
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

std::string uuidText(ByteSpan stored) {
    return mostSignificantFirst(stored);
}

} // namespace zvcamera
