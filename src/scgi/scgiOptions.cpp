#include "scgiOptions.h"

#include <charconv>
#include <cstdio>
#include <grp.h>
#include <memory>
#include <optional>
#include <pwd.h>
#include <string_view>
#include <system_error>

const char* const scgiUsage =
    R"(zvControl-scgi [--socket PATH [--mode MODE] [--owner USER[:GROUP]]] [--children N]
Answers the control URL space: takes SCGI requests of a web server, and serves each in a process of its own.
  --socket PATH   listens there; without it, on the socket that the program inherits, from lighttpd or systemd
  --mode MODE     of the socket, in octal digits (default: 660)
  --owner USER[:GROUP]
                  of the socket, names or numbers (default: who starts the program)
  --children N    requests at once, 1 to 1000; further ones wait (default: 64)
SIGTERM: takes no further request, and ends with the last one.
)";

namespace {

constexpr unsigned childrenMost = 1000;
constexpr mode_t modeMost = 0777;
constexpr int octal = 8;

struct CloseFile {
    void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

template<typename Number>
bool readNumber(std::string_view text, Number least, Number most, Number& number, int base = 10) {
    const char* const end = text.data() + text.size();
    Number read{};
    const auto [stop, error] = std::from_chars(text.data(), end, read, base);
    if (error != std::errc() || stop != end || read < least || read > most) {
        return false;
    }
    number = read;
    return true;
}

// The files are read here, not by the C library, which would load what /etc/nsswitch.conf names and keep it.
template<typename Entry, typename Id>
std::optional<Id> findId(const char* path, Entry* (*next)(std::FILE*), char* Entry::*name, Id Entry::*id,
                         std::string_view wanted) {
    const File file(std::fopen(path, "re"));
    while (const Entry* const entry = file == nullptr ? nullptr : next(file.get())) {
        if (entry->*name == wanted) {
            return entry->*id;
        }
    }
    return std::nullopt;
}

bool readUser(std::string_view text, uid_t& user) {
    const auto found = findId("/etc/passwd", fgetpwent, &passwd::pw_name, &passwd::pw_uid, text);
    user = found.value_or(user);
    return found.has_value() || readNumber<uid_t>(text, 0, static_cast<uid_t>(-2), user);
}

bool readGroup(std::string_view text, gid_t& group) {
    const auto found = findId("/etc/group", fgetgrent, &group::gr_name, &group::gr_gid, text);
    group = found.value_or(group);
    return found.has_value() || readNumber<gid_t>(text, 0, static_cast<gid_t>(-2), group);
}

bool readOwner(std::string_view text, ScgiOptions& options) {
    const std::size_t colon = text.find(':');
    return readUser(text.substr(0, colon), options.user) &&
           (colon == std::string_view::npos || readGroup(text.substr(colon + 1), options.group));
}

// What would be right for the value of an option; null when it is.
const char* readValue(std::string_view name, const char* value, ScgiOptions& options) {
    if (name == "--socket") {
        options.socket = value;
        return options.socket.empty() ? "the path of a socket" : nullptr;
    }
    if (name == "--mode") {
        return readNumber<mode_t>(value, 0, modeMost, options.mode, octal) ? nullptr : "octal digits up to 777";
    }
    if (name == "--owner") {
        return readOwner(value, options) ? nullptr : "USER or USER:GROUP that this system knows, or numbers";
    }
    return readNumber(value, 1U, childrenMost, options.children) ? nullptr : "a whole number from 1 to 1000";
}

bool isOption(std::string_view name) {
    return name == "--socket" || name == "--mode" || name == "--owner" || name == "--children";
}

} // namespace

std::string readScgiOptions(int argc, char** argv, ScgiOptions& options) {
    bool ofPath = false;
    for (int i = 1; i < argc; i += 2) {
        const std::string name = argv[i];
        if (name == "--help") {
            options.help = true;
            return "";
        }
        if (!isOption(name)) {
            return name + " is no option; --help lists them";
        }
        if (i + 1 == argc) {
            return name + ": its value is missing";
        }
        if (const char* const right = readValue(name, argv[i + 1], options); right != nullptr) {
            return name + ": must be " + right + ", not '" + argv[i + 1] + "'";
        }
        ofPath |= name == "--mode" || name == "--owner";
    }
    return ofPath && options.socket.empty() ? "--mode and --owner are for --socket" : "";
}
