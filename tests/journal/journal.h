// The journal: one line for each call that the program makes of its platform. It is the file that ZV_JOURNAL names.
#pragma once

#include <cstddef>
#include <span>
#include <sstream>
#include <string>
#include <string_view>

namespace journal {

// Appends a line. errno stays.
void write(std::string_view line);

template<typename... Parts>
void record(const Parts&... parts) {
    std::ostringstream line;
    (line << ... << parts);
    write(line.str());
}

// A text in quotes, with the escapes of C; "null" for a null text.
std::string quoted(const char* text);
std::string quoted(std::string_view text);

// Bytes: as a quoted text when they are one, otherwise as pairs of hex digits; "empty" when there are none.
std::string bytes(const void* data, std::size_t length);

// Whether all bytes are printable characters or line ends.
bool isText(std::string_view text);

// Gives memory the name under which the journal shows addresses in it.
void name(const void* address, std::size_t size, const std::string& text);

// An address as "name" or "name+offset"; "null"; "memory" when it has no name.
std::string place(const void* address);

} // namespace journal
