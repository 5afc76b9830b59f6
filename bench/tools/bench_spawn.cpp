// bench_spawn ROUNDS PROGRAM...: starts the programs in turn, ROUNDS times each, with this process's environment and
// standard output thrown away, and prints as JSON the microseconds from spawn to exit, the peak memory in KiB and the
// exit status of each.
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

struct Program {
    char* path;
    std::vector<double> microseconds;
    long peak = 0;
    int status = 0;
};

double now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

bool runOnce(Program& program, const posix_spawn_file_actions_t& actions) {
    char* const arguments[] = {program.path, nullptr};
    pid_t child = 0;
    const double start = now();
    if (posix_spawn(&child, program.path, &actions, nullptr, arguments, environ) != 0) {
        return false;
    }
    int status = 0;
    rusage usage{};
    while (wait4(child, &status, 0, &usage) < 0) {
        if (errno != EINTR) {
            return false;
        }
    }
    program.microseconds.push_back(now() - start);
    program.peak = usage.ru_maxrss > program.peak ? usage.ru_maxrss : program.peak;
    program.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    return true;
}

void print(const std::vector<Program>& programs) {
    std::printf("[");
    const char* separator = "";
    for (const Program& program : programs) {
        std::printf("%s{\"status\":%d,\"peak_kib\":%ld,\"us\":[", separator, program.status, program.peak);
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

} // namespace

int main(int argc, char** argv) {
    int rounds = 0;
    if (argc < 3 || std::from_chars(argv[1], argv[1] + std::strlen(argv[1]), rounds).ec != std::errc() ||
        rounds < 1) {
        std::fprintf(stderr, "usage: bench_spawn ROUNDS PROGRAM...\n");
        return 2;
    }
    std::vector<Program> programs;
    for (int i = 2; i < argc; ++i) {
        programs.push_back({argv[i], {}});
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    for (int round = 0; round < rounds; ++round) {
        for (Program& program : programs) {
            if (!runOnce(program, actions)) {
                std::fprintf(stderr, "bench_spawn: %s cannot be run: %s\n", program.path,
                             std::strerror(errno));
                return 1;
            }
        }
    }
    print(programs);
    return 0;
}
