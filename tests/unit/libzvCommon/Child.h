// Runs a piece of a test in a child process and tells how it ended and what it wrote.
#pragma once

#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zvtest {

struct Ended {
    int status = 0; // exit status; minus the signal's number when one ended it
    std::string out;
    std::string err;
};

inline std::string contents(int file) {
    std::string text;
    char part[4096];
    lseek(file, 0, SEEK_SET);
    for (ssize_t length; (length = read(file, part, sizeof part)) > 0;) {
        text.append(part, static_cast<std::size_t>(length));
    }
    return text;
}

// Status 0 when the piece returns; 99 when an expectation inside it failed (its text is then in err and out).
template<typename Piece>
Ended inChild(Piece piece) {
    const int out = memfd_create("out", 0);
    const int err = memfd_create("err", 0);
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        dup2(out, STDOUT_FILENO);
        dup2(err, STDERR_FILENO);
        piece();
        std::fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 99 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    Ended ended{WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), contents(out), contents(err)};
    close(out);
    close(err);
    return ended;
}

} // namespace zvtest
