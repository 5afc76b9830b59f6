#include "jsonText.h"

#include "hexDigits.h"

namespace {

// A range of first bytes of UTF-8 sequences, with the sequence's length and the range of its second byte. Overlong
// forms, surrogates and code points beyond U+10FFFF are in no range.
struct Lead {
    unsigned char first, last;
    unsigned char length;
    unsigned char secondFirst, secondLast;
};
constexpr unsigned char continuationMask = 0xC0;
constexpr unsigned char continuationMark = 0x80;
constexpr unsigned char lastAscii = 0x7F;
constexpr Lead leads[] = {
    {0x00, 0x7F, 1, 0x00, 0x00}, {0xC2, 0xDF, 2, 0x80, 0xBF}, {0xE0, 0xE0, 3, 0xA0, 0xBF},
    {0xE1, 0xEC, 3, 0x80, 0xBF}, {0xED, 0xED, 3, 0x80, 0x9F}, {0xEE, 0xEF, 3, 0x80, 0xBF},
    {0xF0, 0xF0, 4, 0x90, 0xBF}, {0xF1, 0xF3, 4, 0x80, 0xBF}, {0xF4, 0xF4, 4, 0x80, 0x8F},
};

unsigned char byteAt(std::string_view text, std::size_t i) {
    return static_cast<unsigned char>(text[i]);
}

// True when text, whose first byte is in the range, starts with a whole sequence.
bool continues(const Lead& lead, std::string_view text) {
    if (text.size() < lead.length) {
        return false;
    }
    if (lead.length > 1 && (byteAt(text, 1) < lead.secondFirst || byteAt(text, 1) > lead.secondLast)) {
        return false;
    }
    for (std::size_t i = 2; i < lead.length; ++i) {
        if ((byteAt(text, i) & continuationMask) != continuationMark) {
            return false;
        }
    }
    return true;
}

// Length of the valid UTF-8 sequence at the start of text, which is not empty; 0 when there is none.
std::size_t sequenceLength(std::string_view text) {
    for (const Lead& lead : leads) {
        if (byteAt(text, 0) >= lead.first && byteAt(text, 0) <= lead.last) {
            return continues(lead, text) ? lead.length : 0;
        }
    }
    return 0;
}

void appendAscii(std::string& json, unsigned char c) {
    switch (c) {
    case '"':
        json += "\\\"";
        return;
    case '\\':
        json += "\\\\";
        return;
    case '\n':
        json += "\\n";
        return;
    case '\r':
        json += "\\r";
        return;
    case '\t':
        json += "\\t";
        return;
    default:
        break;
    }
    if (c < ' ' || c == lastAscii) {
        json += "\\u00";
        zv::appendHex(json, c);
    } else {
        json += static_cast<char>(c);
    }
}

} // namespace

void appendJsonText(std::string& json, std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = sequenceLength(text);
        if (length == 1) {
            appendAscii(json, byteAt(text, 0));
        } else if (length == 0) {
            json += "\\ufffd";
        } else {
            json += text.substr(0, length);
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
}
