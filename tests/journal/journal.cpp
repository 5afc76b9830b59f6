#include "journal.h"

#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace journal {

namespace {

struct Named {
    std::uintptr_t start;
    std::size_t size;
    std::string text;
};

std::vector<Named>& names() {
    static std::vector<Named> all;
    return all;
}

std::uintptr_t number(const void* address) {
    return reinterpret_cast<std::uintptr_t>(address);
}

// System calls of the journal's own go past the functions that the stand-in defines.
int openFile() {
    const char* const path = std::getenv("ZV_JOURNAL");
    if (path == nullptr) {
        return -1;
    }
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
}

std::string escaped(char character) {
    switch (character) {
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '"':
        return "\\\"";
    case '\\':
        return "\\\\";
    default:
        return {character};
    }
}

std::string hex(std::span<const unsigned char> data) {
    std::string text;
    char pair[4];
    for (const unsigned char byte : data) {
        std::snprintf(pair, sizeof pair, "%02x ", byte);
        text += pair;
    }
    text.pop_back();
    return text;
}

} // namespace

void write(std::string_view line) {
    const int error = errno;
    // Opened for each line: a resident program serves no request when it has open files.
    const int file = openFile();
    const std::string text = std::string(line) + "\n";
    static_cast<void>(syscall(SYS_write, file, text.data(), text.size()));
    static_cast<void>(syscall(SYS_close, file));
    errno = error;
}

std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (const char character : text) {
        result += escaped(character);
    }
    return result + '"';
}

std::string quoted(const char* text) {
    return text == nullptr ? "null" : quoted(std::string_view(text));
}

bool isText(std::string_view text) {
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (std::isprint(byte) == 0 && byte != '\n' && byte != '\r') {
            return false;
        }
    }
    return true;
}

std::string bytes(const void* data, std::size_t length) {
    if (length == 0) {
        return "empty";
    }
    const std::string_view text(static_cast<const char*>(data), length);
    // A line end is a command code here.
    if (isText(text) && text.find_first_of("\r\n") == std::string_view::npos) {
        return quoted(text);
    }
    return hex({static_cast<const unsigned char*>(data), length});
}

void name(const void* address, std::size_t size, const std::string& text) {
    names().push_back({number(address), size, text});
}

std::string place(const void* address) {
    if (address == nullptr) {
        return "null";
    }
    for (const Named& named : names()) {
        const std::size_t offset = number(address) - named.start;
        if (number(address) >= named.start && offset < named.size) {
            return offset == 0 ? named.text : named.text + "+" + std::to_string(offset);
        }
    }
    return "memory";
}

} // namespace journal
