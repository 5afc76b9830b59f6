// bench_spawn ROUNDS PROGRAM...: starts the programs ROUNDS times each, in another order in every round, with this
// process's environment and standard output thrown away, and prints as JSON the microseconds from spawn to exit and the
// peak memory in KiB of each. Ends with status 1 when one of them cannot be run, or ends otherwise than with status 0
// in any round.
#include "peakMemory.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <random>
#include <spawn.h>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

struct Program {
    char* path;
    std::vector<double> microseconds;
    long peak = 0;
};

double now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

bool judge(const char* path, int status) {
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::fprintf(stderr, "bench_spawn: %s ended with %s %d\n", path, WIFEXITED(status) ? "status" : "signal",
                     WIFEXITED(status) ? WEXITSTATUS(status) : WTERMSIG(status));
        return false;
    }
    return true;
}

bool cannotRun(const char* path, int error) {
    std::fprintf(stderr, "bench_spawn: %s cannot be run: %s\n", path, std::strerror(error));
    return false;
}

bool runOnce(Program& program, const posix_spawn_file_actions_t& actions) {
    char* const arguments[] = {program.path, nullptr};
    pid_t child = 0;
    const double start = now();
    const int error = posix_spawn(&child, program.path, &actions, nullptr, arguments, environ);
    if (error != 0) {
        return cannotRun(program.path, error);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            return cannotRun(program.path, errno);
        }
    }
    program.microseconds.push_back(now() - start);
    return judge(program.path, status);
}

// Apart from the rounds, since it takes time. It is the warm-up as well.
bool measureMemory(Program& program) {
    int status = 0;
    program.peak = peakMemory(program.path, status);
    return program.peak > 0 ? judge(program.path, status) : cannotRun(program.path, errno);
}

bool runAll(std::vector<Program>& programs, int rounds) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    const bool warm = std::all_of(programs.begin(), programs.end(), measureMemory);
    // Who runs behind a large program finds the caches in another state than who runs behind a small one.
    std::vector<Program*> order(programs.size());
    std::transform(programs.begin(), programs.end(), order.begin(), [](Program& program) { return &program; });
    std::mt19937 chance; // always the same orders
    for (int round = 0; warm && round < rounds; ++round) {
        std::shuffle(order.begin(), order.end(), chance);
        for (Program* program : order) {
            if (!runOnce(*program, actions)) {
                return false;
            }
        }
    }
    return warm;
}

void print(const std::vector<Program>& programs) {
    std::printf("[");
    const char* separator = "";
    for (const Program& program : programs) {
        std::printf("%s{\"peak_kib\":%ld,\"us\":[", separator, program.peak);
        const char* comma = "";
        for (const double time : program.microseconds) {
            std::printf("%s%.1f", comma, time);
            comma = ",";
        }
        std::printf("]}");
        separator = ",";
    }
    std::printf("]\n");
}

bool number(std::string_view text, int& value) {
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    return result.ec == std::errc() && result.ptr == end && value > 0;
}

} // namespace

int main(int argc, char** argv) {
    int rounds = 0;
    if (argc < 3 || !number(argv[1], rounds)) {
        std::fprintf(stderr, "usage: bench_spawn ROUNDS PROGRAM...\n");
        return 2;
    }
    std::vector<Program> programs;
    for (int i = 2; i < argc; ++i) {
        programs.push_back({argv[i], {}});
    }
    if (!runAll(programs, rounds)) {
        return 1;
    }
    print(programs);
    return 0;
}
