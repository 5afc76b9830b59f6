// Programs of the build, run as processes of their own.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace zvtest {

struct Finished {
    int status; // exit status; 128 plus the signal's number when a signal ended the program
    std::string output;
    std::string errors;
};

// Starts a program of the build with arguments and exactly this environment ("NAME=value"). Its output and errors go
// where this process's go. Ends the test program when it cannot be started.
pid_t startProgram(const std::string& name, const std::vector<std::string>& arguments,
                   const std::vector<std::string>& environment);

// Waits for a process that startProgram has started, and returns its status as Finished has it.
int waitFor(pid_t process);

// Starts a program and waits for it; keeps its output and errors.
Finished runProgram(const std::string& name, const std::vector<std::string>& arguments,
                    const std::vector<std::string>& environment);

// The path of a program of the build.
std::string programPath(const std::string& name);

} // namespace zvtest
