#include "bleQuery.h"

#include <charconv>
#include <cstddef>
#include <system_error>

const char* queryText(const char* params) {
    return params == nullptr ? "" : params;
}

bool parseInteger(const std::string& text, int& value) {
    const std::size_t start = text.find_first_not_of(" \t\n\v\f\r");
    if (start == std::string::npos) {
        return false;
    }
    const char* first = text.data() + start;
    const char* const last = text.data() + text.size();
    if (*first == '+') {
        ++first;
        if (first != last && *first == '-') {
            return false;
        }
    }
    return std::from_chars(first, last, value).ec == std::errc();
}
