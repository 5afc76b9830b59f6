#include "hexText.h"

#include "hexDigits.h"

#include <stdexcept>

namespace zvcamera {
namespace {

// As much of a wrong text as an error text repeats.
constexpr std::size_t shown = 40;

} // namespace

std::string toHex(ByteSpan bytes) {
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const std::uint8_t byte : bytes) {
        zv::appendHex(text, byte);
    }
    return text;
}

Bytes fromHex(std::string_view text) {
    if (text.size() % 2 != 0) {
        throw std::invalid_argument("odd number of hexadecimal digits");
    }
    Bytes bytes;
    bytes.reserve(text.size() / 2);
    for (std::size_t i = 0; i < text.size(); i += 2) {
        const int high = zv::hexDigitValue(text[i]);
        const int low = zv::hexDigitValue(text[i + 1]);
        if (high < 0 || low < 0) {
            throw std::invalid_argument("not a hexadecimal text: " + std::string(text.substr(0, shown)));
        }
        bytes.push_back(static_cast<std::uint8_t>(high << 4 | low));
    }
    return bytes;
}

} // namespace zvcamera
