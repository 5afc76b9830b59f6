#include "executeRequest.h"

#include "statusAnswer.h"
#include "zvCtrlD.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

namespace {

// Fixed: clients tell the failures apart by these line numbers.
constexpr int lineProgramKey = 97;
constexpr int lineArgumentsKey = 115;
constexpr int lineActionKey = 125;
constexpr int lineProgramEmpty = 134;
constexpr int lineActionEmpty = 141;
constexpr int lineActionUnknown = 162;
constexpr int lineProgramDots = 177;
constexpr int lineProgramShell = 194;

constexpr int keySize = 30;

int fail(std::ostream& stream, const char* message, int line) {
    return ::fail(stream, message, "handle_command_execute", line);
}

// "p1=", "a1=", "c1=" and so on.
bool makeKey(char (&key)[keySize], char letter, int number) {
    const int length = std::snprintf(key, sizeof key, "%c%d=", letter, number);
    return length > 0 && length != keySize;
}

int readAction(const std::string& text, std::int32_t& action) {
    static constexpr const char* names[] = {"start", "stop", "restart"};
    static_assert(actionStart == 0 && actionStop == 1 && actionRestart == 2);
    const auto* const found = std::find(std::begin(names), std::end(names), text);
    if (found == std::end(names)) {
        return -1;
    }
    action = static_cast<std::int32_t>(found - std::begin(names));
    return 0;
}

// Fixed: clients rely on what passes. Only the program is looked at, and no more of its characters than the arguments
// have.
bool hasShellCharacter(const ExecEntry& entry) {
    const std::size_t end = std::min(entry.arguments.size(), entry.program.size());
    return entry.program.substr(0, end).find_first_of(";|<>&") != std::string::npos;
}

int validate(ExecEntry& entry, const std::string& action, std::ostream& stream) {
    if (entry.program.empty()) {
        return fail(stream, "fail, invalid program name", lineProgramEmpty);
    }
    if (action.empty()) {
        return fail(stream, "fail, invalid command", lineActionEmpty);
    }
    if (readAction(action, entry.action) != 0) {
        return fail(stream, formatMessage("invalid command %s", action.c_str()), lineActionUnknown);
    }
    if (entry.program.find("..") != std::string::npos) {
        return fail(stream, formatMessage("invalid program %s", entry.program.c_str()), lineProgramDots);
    }
    if (hasShellCharacter(entry)) {
        return fail(stream, formatMessage("invalid program %s", entry.program.c_str()), lineProgramShell);
    }
    return 0;
}

// 1: read, 0: there is no such command, -1: failed.
// Fixed: clients may leave out a later c<n>; the scratch text, one for the whole request, then holds the value of p<n>.
int readEntry(const char* params, int number, ExecEntry& entry, std::string& scratch, std::ostream& stream) {
    char key[keySize];
    if (!makeKey(key, 'p', number)) {
        return fail(stream, "fail, invalid param", lineProgramKey);
    }
    // Fixed: clients get the failure of an empty program name for a request without p1.
    if (number > 1 && parseParam(params, key, scratch) == 0) {
        return 0;
    }
    parseParam(params, key, entry.program);
    if (!makeKey(key, 'a', number)) {
        return fail(stream, "fail, invalid param", lineArgumentsKey);
    }
    parseParam(params, key, entry.arguments);
    if (!makeKey(key, 'c', number)) {
        return fail(stream, "fail, invalid param", lineActionKey);
    }
    parseParam(params, key, scratch);
    return validate(entry, scratch, stream) == 0 ? 1 : -1;
}

} // namespace

int readEntries(const char* params, ExecEntries& entries, std::ostream& stream) {
    std::string scratch;
    int count = 0;
    for (ExecEntry& entry : entries) {
        const int result = readEntry(params, count + 1, entry, scratch, stream);
        if (result < 0) {
            return -1;
        }
        if (result == 0) {
            break;
        }
        ++count;
    }
    return count;
}
