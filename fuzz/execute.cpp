// Requests of "execute": what is read from them, and which commands reach the shell. No program is started: system and
// the pause between two signals are played.
#include "command_execute.h"
#include "executeRequest.h"
#include "fileStandIn.h"
#include "fuzzInput.h"

#include <cerrno>
#include <ctime>
#include <sstream>
#include <string_view>
#include <sys/types.h>
#include <unistd.h>

namespace {

using zvfuzz::file;
using zvfuzz::Input;
using zvfuzz::require;

std::vector<std::string> commands;
std::size_t failing = 0; // number of the call of system that fails, from 1; 0 for none
std::string output;
bool answering = false;

void checkEntries(const std::string& query) {
    std::ostringstream stream;
    ExecEntries entries;
    const int count = readEntries(query.c_str(), entries, stream);
    if (count < 0) {
        require(count == -1 && stream.str().rfind("Status: 400\n\n{\n\"status\":\"", 0) == 0, "a failure is answered");
        return;
    }
    require(count >= 1 && count <= maximumEntries && stream.str().empty(), "the number of commands");
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
        require(!entries[i].program.empty() && entries[i].program.find("..") == std::string::npos, "a program's name");
        require(entries[i].action >= actionStart && entries[i].action <= actionRestart, "an action");
    }
}

void checkCommand(const std::string& command) {
    const std::string start = "/usr/local/zarvo/bin/zvStream ";
    require(command == "killall -s SIGINT zvStream" || command == "killall -9 zvStream" ||
                (command.rfind(start, 0) == 0 && command.size() <= 1023),
            "a shell command");
}

} // namespace

extern "C" {

int __real_system(const char* command);
ssize_t __real_write(int to, const void* block, std::size_t size);

int __wrap_system(const char* command) {
    if (!answering) {
        return __real_system(command); // the fuzzer's own
    }
    commands.emplace_back(command);
    errno = ENOMEM;
    return commands.size() == failing ? -1 : 0;
}

int __wrap_nanosleep(const timespec* /*time*/, timespec* /*left*/) {
    return 0;
}

int __wrap_close_range(unsigned /*first*/, unsigned /*last*/, int /*flags*/) {
    return 0;
}

ssize_t __wrap_write(int to, const void* block, std::size_t size) {
    if (!answering || to != STDOUT_FILENO) {
        return __real_write(to, block, size);
    }
    output.append(static_cast<const char*>(block), size);
    return static_cast<ssize_t>(size);
}

} // extern "C"

// Flags (1: no such program), number of the shell's call that fails, the query.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    file().exists = (input.byte() & 1) == 0;
    failing = input.byte();
    const std::string query = input.line();
    checkEntries(query);

    commands.clear();
    output.clear();
    answering = true;
    const int result = handle_command_execute(query.c_str(), nullptr, 0);
    answering = false;
    require(result == -18, "the answer has been sent");
    std::for_each(commands.begin(), commands.end(), checkCommand);
    require(commands.size() <= std::size_t{3} * maximumEntries, "the number of shell commands");
    const bool done = output == "Content-type: application/json\nStatus: 200\n\n{\"status\":\"0\"}\n\n";
    require(done || output.rfind("Content-type: application/json\nStatus: 400\n\n{\n\"status\":\"", 0) == 0,
            "an answer");
    require(!done || (file().exists && !commands.empty()), "success means that something was done");
    return 0;
}
