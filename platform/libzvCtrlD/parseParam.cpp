#include "hexDigits.h"
#include "zvCtrlD.h"

#include <exception>
#include <string_view>

namespace {

constexpr std::size_t escapeLength = 3; // %XX

// The byte of the escape at the start of text; 0 when there is none, and for the escape of a zero byte.
char escapedByte(std::string_view text) {
    if (text.size() < escapeLength || text[0] != '%') {
        return 0;
    }
    const int high = zv::hexDigitValue(text[1]);
    const int low = zv::hexDigitValue(text[2]);
    return high < 0 || low < 0 ? '\0' : static_cast<char>(high * 16 + low);
}

std::string decode(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    while (!text.empty()) {
        const char byte = escapedByte(text);
        decoded.push_back(byte != 0 ? byte : text[0]);
        text.remove_prefix(byte != 0 ? escapeLength : 1);
    }
    return decoded;
}

} // namespace

int parseParam(const char* params, const char* key, std::string& value) try {
    if (params == nullptr || key == nullptr || *key == '\0') {
        return 0;
    }
    const std::string_view wanted = key;
    for (std::string_view rest = params;;) {
        const std::size_t end = rest.find('&');
        const std::string_view parameter = rest.substr(0, end);
        if (parameter.substr(0, wanted.size()) == wanted) {
            value = decode(parameter.substr(wanted.size()));
            return 1;
        }
        if (end == std::string_view::npos) {
            return 0;
        }
        rest.remove_prefix(end + 1);
    }
} catch (const std::exception&) {
    return 0; // no memory for the value
}
