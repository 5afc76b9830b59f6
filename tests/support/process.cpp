#include "process.h"

#include "outputCapture.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zvtest {
namespace {

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> all;
    all.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        all.push_back(text.data());
    }
    all.push_back(nullptr);
    return all;
}

// The words of "qemu-arm;-L;/folder": the emulator for programs of another processor, and its arguments.
std::vector<std::string> emulator() {
    std::vector<std::string> words;
    std::string all = ZV_EMULATOR;
    while (!all.empty()) {
        const std::size_t end = all.find(';');
        words.push_back(all.substr(0, end));
        all.erase(0, end == std::string::npos ? end : end + 1);
    }
    return words;
}

} // namespace

std::string programPath(const std::string& name) {
    return std::string(ZV_PROGRAMS) + "/" + name;
}

pid_t startProgram(const std::string& name, const std::vector<std::string>& arguments,
                   const std::vector<std::string>& environment) {
    std::vector<std::string> words = emulator();
    words.push_back(programPath(name));
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<std::string> variables = environment;
    // A program of a coverage build puts its counts beside this one's.
    if (const char* const counts = std::getenv("LLVM_PROFILE_FILE"); counts != nullptr) {
        variables.push_back(std::string("LLVM_PROFILE_FILE=") + counts);
    }
    std::fflush(nullptr);
    pid_t process = -1;
    const int error =
        posix_spawnp(&process, words[0].c_str(), nullptr, nullptr, pointers(words).data(), pointers(variables).data());
    if (error != 0) {
        errno = error;
        std::perror(words[0].c_str());
        std::abort();
    }
    return process;
}

int waitFor(pid_t process) {
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

Finished runProgram(const std::string& name, const std::vector<std::string>& arguments,
                    const std::vector<std::string>& environment) {
    const OutputCapture output(STDOUT_FILENO);
    const OutputCapture errors(STDERR_FILENO);
    const int status = waitFor(startProgram(name, arguments, environment));
    return {status, output.text(), errors.text()};
}

} // namespace zvtest
