// bench_http PORT PATH CLIENTS SECONDS: asks for a path of 127.0.0.1:PORT, each client one request after the other with
// a connection of its own, for so many seconds (0: one request), and prints as JSON the answers with status 200, all
// others, the bytes of the answers, and the seconds that it took.
#include <atomic>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <netinet/in.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

struct Totals {
    std::atomic<long> good{0};
    std::atomic<long> bad{0};
    std::atomic<std::int64_t> bytes{0};
};

int connectTo(std::uint16_t port) {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (descriptor >= 0 &&
        connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
        return descriptor;
    }
    if (descriptor >= 0) {
        close(descriptor);
    }
    return -1;
}

// Reads an answer to its end. The status stands in its first bytes.
bool isGood(int descriptor, std::int64_t& bytes, std::vector<char>& buffer) {
    std::string start;
    for (;;) {
        const ssize_t arrived = read(descriptor, buffer.data(), buffer.size());
        if (arrived <= 0) {
            return arrived == 0 && start.starts_with("HTTP/1.") && start.substr(8, 5) == " 200 ";
        }
        if (start.size() < 16) {
            start.append(buffer.data(), static_cast<std::size_t>(arrived < 16 ? arrived : 16));
        }
        bytes += arrived;
    }
}

void ask(std::uint16_t port, const std::string& request, Totals& totals, std::vector<char>& buffer) {
    const int descriptor = connectTo(port);
    std::int64_t bytes = 0;
    const bool good = descriptor >= 0 &&
                      send(descriptor, request.data(), request.size(), MSG_NOSIGNAL) ==
                          static_cast<ssize_t>(request.size()) &&
                      isGood(descriptor, bytes, buffer);
    if (descriptor >= 0) {
        close(descriptor);
    }
    ++(good ? totals.good : totals.bad);
    totals.bytes += bytes;
}

bool number(const char* text, int& value) {
    const std::string_view whole(text);
    const auto end = whole.data() + whole.size();
    const auto result = std::from_chars(whole.data(), end, value);
    return result.ec == std::errc() && result.ptr == end && value >= 0;
}

} // namespace

int main(int argc, char** argv) {
    int port = 0;
    int clients = 0;
    int seconds = 0;
    if (argc != 5 || !number(argv[1], port) || !number(argv[3], clients) || !number(argv[4], seconds) ||
        port > 65535 || clients < 1) {
        std::fprintf(stderr, "usage: bench_http PORT PATH CLIENTS SECONDS\n");
        return 2;
    }
    const std::string request =
        "GET " + std::string(argv[2]) + " HTTP/1.1\r\nHost: camera\r\nConnection: close\r\n\r\n";
    Totals totals;
    const auto start = Clock::now();
    const auto end = start + std::chrono::seconds(seconds);
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(clients));
    for (int i = 0; i < clients; ++i) {
        threads.emplace_back([&] {
            std::vector<char> buffer(std::size_t{256} * 1024);
            do {
                ask(static_cast<std::uint16_t>(port), request, totals, buffer);
            } while (Clock::now() < end);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const std::chrono::duration<double> took = Clock::now() - start;
    std::printf("{\"good\":%ld,\"bad\":%ld,\"bytes\":%lld,\"seconds\":%.6f}\n", totals.good.load(),
                totals.bad.load(), static_cast<long long>(totals.bytes.load()), took.count());
    return 0;
}
