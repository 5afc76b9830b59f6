// Runs a piece of a test in a child process, and keeps its status and what it wrote.
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

// A child process that waits for run(). Make it before the test has threads: the child would inherit their locks.
class Child {
public:
    template<typename Piece>
    explicit Child(Piece piece) : out_(memfd_create("out", 0)),
                                  err_(memfd_create("err", 0)) {
        EXPECT_EQ(0, pipe(gate_));
        std::fflush(nullptr);
        child_ = fork();
        if (child_ == 0) {
            char go = 0;
            close(gate_[1]);
            if (read(gate_[0], &go, 1) != 1) {
                _exit(98);
            }
            close(gate_[0]);
            dup2(out_, STDOUT_FILENO);
            dup2(err_, STDERR_FILENO);
            piece();
            std::fflush(nullptr);
            _exit(testing::Test::HasFailure() ? 99 : 0);
        }
    }
    ~Child() {
        close(out_);
        close(err_);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    // Status 0 when the piece returns; 99 when an expectation in it failed, which out and err show.
    Ended run() {
        EXPECT_EQ(1, write(gate_[1], "g", 1));
        close(gate_[0]);
        close(gate_[1]);
        int status = 0;
        waitpid(child_, &status, 0);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), contents(out_), contents(err_)};
    }

private:
    int out_;
    int err_;
    int gate_[2] = {-1, -1};
    pid_t child_ = -1;
};

template<typename Piece>
Ended inChild(Piece piece) {
    return Child(piece).run();
}

} // namespace zvtest
