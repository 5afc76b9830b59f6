// bench_fork ROUNDS MEBIBYTES...: forks a process that ends at once, ROUNDS times for each size of memory of its own
// that this process has then, and prints as JSON the microseconds from fork to the end of the child, a list for each
// size.
#include <charconv>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr std::size_t mebibyte = std::size_t{1} << 20;

double now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

bool number(const char* text, int& value) {
    const char* const end = text + std::strlen(text);
    const auto result = std::from_chars(text, end, value);
    return result.ec == std::errc() && result.ptr == end && value >= 0;
}

bool forkOnce(std::vector<double>& times) {
    const double start = now();
    const pid_t child = fork();
    if (child == 0) {
        _exit(0);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) {
        std::perror("bench_fork");
        return false;
    }
    times.push_back(now() - start);
    return status == 0;
}

// Has pages of its own, as a program's data are: small ones, each written to.
bool measure(int rounds, int mebibytes, std::vector<double>& times) {
    const std::size_t size = static_cast<std::size_t>(mebibytes) * mebibyte;
    void* const memory = mmap(nullptr, size + mebibyte, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        std::perror("bench_fork");
        return false;
    }
    madvise(memory, size + mebibyte, MADV_NOHUGEPAGE);
    std::memset(memory, 1, size);
    bool right = true;
    for (int round = 0; right && round < rounds; ++round) {
        right = forkOnce(times);
    }
    munmap(memory, size + mebibyte);
    return right;
}

void print(const std::vector<double>& times, const char* before) {
    std::printf("%s[", before);
    for (std::size_t i = 0; i < times.size(); ++i) {
        std::printf("%s%.1f", i == 0 ? "" : ",", times[i]);
    }
    std::printf("]");
}

} // namespace

int main(int argc, char** argv) {
    int rounds = 0;
    if (argc < 3 || !number(argv[1], rounds)) {
        std::fprintf(stderr, "usage: bench_fork ROUNDS MEBIBYTES...\n");
        return 2;
    }
    std::printf("[");
    std::fflush(stdout);
    for (int i = 2; i < argc; ++i) {
        int mebibytes = 0;
        std::vector<double> times;
        if (!number(argv[i], mebibytes) || !measure(rounds, mebibytes, times)) {
            return 1;
        }
        print(times, i == 2 ? "" : ",");
        std::fflush(stdout); // the next children must not have it to print
    }
    std::printf("]\n");
    return 0;
}
