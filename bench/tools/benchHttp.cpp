// bench_http PORT PATH CLIENTS SECONDS SIZE [TEXT]: asks for a path of 127.0.0.1:PORT, each client one request after
// the other with a connection of its own, for so many seconds (0: one request), and prints as JSON the good answers
// (status 200, a complete body of SIZE bytes, which is TEXT when that is given), the bad ones (all others, and none
// within 60 seconds), the seconds that it took, and the seconds of a processor that this program itself took of them.
#include "body.h"

#include <atomic>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <netinet/in.h>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr timeval patience{60, 0};

struct Question {
    std::uint16_t port;
    std::string request;
    std::int64_t size;
    const char* text; // null: any
};

struct Totals {
    std::atomic<long> good{0};
    std::atomic<long> bad{0};
};

int connectTo(std::uint16_t port) {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (descriptor >= 0 && setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience) == 0 &&
        connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
        return descriptor;
    }
    if (descriptor >= 0) {
        close(descriptor);
    }
    return -1;
}

bool isGood(int descriptor, const Question& question, std::vector<char>& buffer) {
    Body body;
    for (;;) {
        const ssize_t arrived = read(descriptor, buffer.data(), buffer.size());
        if (arrived > 0) {
            body.take({buffer.data(), static_cast<std::size_t>(arrived)});
            continue;
        }
        return arrived == 0 && body.complete() && body.size() == question.size &&
               (question.text == nullptr || body.text() == question.text);
    }
}

void ask(const Question& question, Totals& totals, std::vector<char>& buffer) {
    const int descriptor = connectTo(question.port);
    const bool good = descriptor >= 0 &&
                      send(descriptor, question.request.data(), question.request.size(), MSG_NOSIGNAL) ==
                          static_cast<ssize_t>(question.request.size()) &&
                      isGood(descriptor, question, buffer);
    if (descriptor >= 0) {
        close(descriptor);
    }
    ++(good ? totals.good : totals.bad);
}

double processorSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

template<class Number>
bool number(const char* text, Number& value) {
    const std::string_view whole(text);
    const auto end = whole.data() + whole.size();
    const auto result = std::from_chars(whole.data(), end, value);
    return result.ec == std::errc() && result.ptr == end && value >= 0;
}

} // namespace

int main(int argc, char** argv) {
    int port = 0;
    int clients = 0;
    double seconds = 0;
    std::int64_t size = 0;
    if (argc < 6 || argc > 7 || !number(argv[1], port) || !number(argv[3], clients) || !number(argv[4], seconds) ||
        !number(argv[5], size) || port > 65535 || clients < 1) {
        std::fprintf(stderr, "usage: bench_http PORT PATH CLIENTS SECONDS SIZE [TEXT]\n");
        return 2;
    }
    const Question question{static_cast<std::uint16_t>(port),
                            "GET " + std::string(argv[2]) + " HTTP/1.1\r\nHost: camera\r\nConnection: close\r\n\r\n",
                            size, argc == 7 ? argv[6] : nullptr};
    Totals totals;
    const auto start = Clock::now();
    const auto end = start + std::chrono::duration<double>(seconds);
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(clients));
    for (int i = 0; i < clients; ++i) {
        threads.emplace_back([&] {
            std::vector<char> buffer(std::size_t{256} * 1024);
            do {
                ask(question, totals, buffer);
            } while (Clock::now() < end);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const std::chrono::duration<double> took = Clock::now() - start;
    std::printf("{\"good\":%ld,\"bad\":%ld,\"seconds\":%.6f,\"cpu\":%.6f}\n", totals.good.load(), totals.bad.load(),
                took.count(), processorSeconds());
    return 0;
}
