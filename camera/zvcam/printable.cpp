#include "printable.h"

#include <cstdio>

namespace zvcamera {
namespace {

std::string number(unsigned char code) {
    char text[8];
    std::snprintf(text, sizeof text, "\\x%02x", code);
    return text;
}

} // namespace

std::string printable(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const auto next = i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : 0;
        if (byte == '\n') {
            out += "\\n";
        } else if (byte < 0x20 || byte == 0x7f) {
            out += number(byte);
        } else if (byte == 0xc2 && next >= 0x80 && next < 0xa0) {
            out += number(static_cast<unsigned char>(next)); // U+0080 to U+009F are control characters as well
            ++i;
        } else {
            out += text[i];
        }
    }
    return out;
}

} // namespace zvcamera
