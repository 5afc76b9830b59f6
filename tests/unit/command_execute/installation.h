// The camera's installation directory, for real, with a streaming program that tells what becomes of it.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace zvtest {

class Installation {
public:
    // Installs zvStream. A stubborn one does not end on SIGINT.
    explicit Installation(bool stubborn = false);
    // Kills what still runs of it.
    ~Installation();
    Installation(const Installation&) = delete;
    Installation& operator=(const Installation&) = delete;

    // Puts a readable file there.
    static void addFile(const std::string& name);

    // What the program's processes wrote so far, waiting (10 s at most) until there are so many lines. A process that
    // runs writes "start" with its arguments in brackets, and one line for each of its descriptors: its number and what
    // it points to; one that gets SIGINT writes "SIGINT".
    static std::vector<std::string> journal(std::size_t lines);
    // The processes that run it.
    static std::vector<pid_t> running();
    // Waits (10 s at most) until so many run.
    static bool becomes(std::size_t count);
};

} // namespace zvtest
