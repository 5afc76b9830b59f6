#include "scgiHeader.h"

#include <charconv>
#include <cstdlib>
#include <system_error>

namespace {

using Progress = ScgiFrame::Progress;

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

bool readLength(std::string_view text, std::size_t& length) {
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, length);
    return error == std::errc() && stop == end;
}

// Takes the next variable from the header's bytes, and makes one text of it. Null when there is none to take.
char* takeVariable(std::span<char>& left, std::string_view& name, std::string_view& value) {
    const std::string_view all(left.data(), left.size());
    const std::size_t nameEnd = all.find('\0');
    const std::size_t valueEnd = nameEnd == std::string_view::npos ? nameEnd : all.find('\0', nameEnd + 1);
    if (valueEnd == std::string_view::npos) {
        return nullptr;
    }
    name = all.substr(0, nameEnd);
    value = all.substr(nameEnd + 1, valueEnd - nameEnd - 1);
    char* const text = left.data();
    left = left.subspan(valueEnd + 1);
    return text;
}

} // namespace

ScgiFrame findScgiHeader(std::string_view arrived) {
    std::size_t size = 0;
    std::size_t digits = 0;
    while (digits < arrived.size() && isDigit(arrived[digits])) {
        size = size * 10 + static_cast<std::size_t>(arrived[digits] - '0');
        ++digits;
        if (size == 0 || size > scgiHeaderMost) { // no number of a netstring begins with a zero
            return {Progress::Malformed};
        }
    }
    if (digits == arrived.size()) {
        return {Progress::Part};
    }
    if (size == 0 || arrived[digits] != ':') {
        return {Progress::Malformed};
    }
    const std::size_t begin = digits + 1;
    if (arrived.size() <= begin + size) {
        return {Progress::Part};
    }
    return {arrived[begin + size] == ',' ? Progress::Whole : Progress::Malformed, begin, size};
}

const char* makeScgiEnvironment(std::span<char> header, std::span<char*> environment, std::size_t& bodyLength) {
    const char* protocol = nullptr;
    const char* length = nullptr;
    std::size_t count = 0;
    while (!header.empty()) {
        std::string_view name;
        std::string_view value;
        char* const text = takeVariable(header, name, value);
        if (text == nullptr) {
            return "a variable of its header does not end";
        }
        if (name.empty() || name.find('=') != std::string_view::npos) {
            return "a variable of its header has no name";
        }
        if (count + 1 == environment.size()) {
            return "its header has too many variables";
        }
        if (name == "SCGI" && protocol == nullptr) {
            protocol = value.data();
        }
        if (name == "CONTENT_LENGTH" && length == nullptr) {
            length = value.data();
        }
        text[name.size()] = '=';
        environment[count++] = text;
    }
    environment[count] = nullptr;
    if (protocol == nullptr || std::string_view(protocol) != "1") {
        return "its header has no SCGI=1";
    }
    return length != nullptr && readLength(length, bodyLength) ? nullptr : "its header has no CONTENT_LENGTH";
}
