// bench_scgi ROUNDS SOCKET ANSWER: asks the resident program at the socket ROUNDS times, with PATH_INFO and
// QUERY_STRING of this process's environment, and prints as JSON the microseconds from connecting to the end of the
// connection: accept, fork, request and exit. Ends with status 1 when it is answered otherwise.
#include "uniqueFd.h"
#include "writeAll.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace {

double now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

void add(std::string& header, const char* name, const char* value) {
    header.append(name).append(1, '\0').append(value == nullptr ? "" : value).append(1, '\0');
}

// A netstring, and no body.
std::string makeRequest() {
    std::string header;
    add(header, "CONTENT_LENGTH", "0");
    add(header, "SCGI", "1");
    for (const char* const name : {"PATH_INFO", "QUERY_STRING"}) {
        add(header, name, std::getenv(name));
    }
    return std::to_string(header.size()) + ":" + header + ",";
}

// The whole answer; empty when the connection fails.
std::string ask(const sockaddr_un& address, std::string_view request) {
    std::string answer;
    char block[4096];
    const zv::UniqueFd connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        !zv::writeAll(connection.get(), request)) {
        return answer;
    }
    for (ssize_t length; (length = read(connection.get(), block, sizeof block)) > 0;) {
        answer.append(block, static_cast<std::size_t>(length));
    }
    return answer;
}

bool measure(const sockaddr_un& address, int rounds, std::string_view expected, std::vector<double>& times) {
    const std::string request = makeRequest();
    for (int round = 0; round < rounds; ++round) {
        const double start = now();
        const std::string answer = ask(address, request);
        times.push_back(now() - start);
        if (answer != expected) {
            std::fprintf(stderr, "bench_scgi: answered '%s'\n", answer.c_str());
            return false;
        }
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    int rounds = 0;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (argc != 4 || std::from_chars(argv[1], argv[1] + std::strlen(argv[1]), rounds).ec != std::errc() ||
        std::strlen(argv[2]) >= sizeof address.sun_path) {
        std::fprintf(stderr, "usage: bench_scgi ROUNDS SOCKET ANSWER\n");
        return 2;
    }
    std::memcpy(address.sun_path, argv[2], std::strlen(argv[2]));
    std::vector<double> times;
    if (!measure(address, rounds, argv[3], times)) {
        return 1;
    }
    std::printf("[");
    for (std::size_t i = 0; i < times.size(); ++i) {
        std::printf("%s%.1f", i == 0 ? "" : ",", times[i]);
    }
    std::printf("]\n");
    return 0;
}
