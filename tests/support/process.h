// Programs of the build, run as processes of their own.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace zvtest {

struct Finished {
    int status; // exit status; 128 and the signal's number for a program that a signal ended
    std::string output;
    std::string errors;
};

// Starts a program that stands in the build folder with arguments and exactly this environment ("NAME=value"); its
// output and errors go where this process's go. Ends the test program when it cannot be started.
pid_t startProgram(const std::string& name, const std::vector<std::string>& arguments,
                   const std::vector<std::string>& environment);

// Waits for a process that startProgram has started; its status as in Finished.
int waitFor(pid_t process);

// Both, with output and errors kept.
Finished runProgram(const std::string& name, const std::vector<std::string>& arguments,
                    const std::vector<std::string>& environment);

// The path of a program of the build.
std::string programPath(const std::string& name);

} // namespace zvtest
