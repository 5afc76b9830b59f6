#include "quoteText.h"

#include <cstdio>

namespace zvcamera {

std::string quoteText(std::string_view text) {
    std::string out = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (byte < 0x20 || byte >= 0x7f) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\x%02x", byte);
            out += escaped;
        } else {
            out += c;
        }
    }
    return out + '"';
}

} // namespace zvcamera
