// A real installation directory, with a streaming program that keeps a journal.
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

    // The journal's lines, waited for (10 s at most) until there are so many. A process that starts writes "start" and
    // its arguments in brackets, then a line for each of its descriptors: its number and what it points to. A process
    // that gets SIGINT writes "SIGINT".
    static std::vector<std::string> journal(std::size_t lines);
    // The processes that run it.
    static std::vector<pid_t> running();
    // Waits (10 s at most) until so many run.
    static bool becomes(std::size_t count);
};

} // namespace zvtest
