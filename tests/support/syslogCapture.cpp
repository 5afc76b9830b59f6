#include "syslogCapture.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <regex>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace zvtest {
namespace {

constexpr const char* logPath = "/dev/log";
constexpr const char* syncMark = "-- sync --";
constexpr const char* stopMark = "-- stop --";

sockaddr_un logAddress() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", logPath);
    return address;
}

void sendMark(const char* mark) {
    const int out = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = logAddress();
    sendto(out, mark, std::strlen(mark), 0, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    close(out);
}

// Parses what syslog(3) writes: "<11>Nov 21 02:54:50 ident[12]: text".
LogLine parse(const std::string& packet) {
    static const std::regex form(R"(^<(\d+)>\w{3} [ \d]\d \d\d:\d\d:\d\d (?:[^\n]*?(?:\[\d+\])?: )?([\s\S]*)$)");
    std::smatch match;
    if (!std::regex_match(packet, match, form)) {
        return {-1, -1, packet};
    }
    const int code = std::stoi(match[1]);
    return {code & 7, code >> 3, match[2]};
}

} // namespace

SyslogCapture::SyslogCapture() : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    unlink(logPath);
    const sockaddr_un address = logAddress();
    if (socket_ < 0 || bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        std::perror("binding /dev/log (tests run inside tests/support/in-namespace)");
        std::abort();
    }
    thread_ = std::thread([this] { receive(); });
}

SyslogCapture::~SyslogCapture() {
    sendMark(stopMark);
    thread_.join();
    close(socket_);
    unlink(logPath);
}

void SyslogCapture::receive() {
    char buffer[65536];
    for (;;) {
        const ssize_t length = recv(socket_, buffer, sizeof buffer, 0);
        if (length < 0) {
            return;
        }
        std::string packet(buffer, static_cast<std::size_t>(length));
        if (packet == stopMark) {
            return;
        }
        const std::lock_guard<std::mutex> lock(mutex_);
        packets_.push_back(std::move(packet));
    }
}

std::vector<LogLine> SyslogCapture::take() {
    // Datagrams arrive in the order in which they were sent: when the mark has come, so have all lines before it.
    sendMark(syncMark);
    std::vector<LogLine> lines;
    for (bool marked = false; !marked; std::this_thread::sleep_for(std::chrono::microseconds(200))) {
        const std::lock_guard<std::mutex> lock(mutex_);
        for (const std::string& packet : packets_) {
            if (packet == syncMark) {
                marked = true;
            } else {
                lines.push_back(parse(packet));
            }
        }
        packets_.clear();
    }
    return lines;
}

std::vector<std::string> SyslogCapture::texts() {
    std::vector<std::string> all;
    for (LogLine& line : take()) {
        all.push_back(std::move(line.text));
    }
    return all;
}

std::vector<std::string> SyslogCapture::messages() {
    static const std::regex form(R"(^UTIL_LOG_[A-Z]+ *:([\s\S]*) @[^@\n]*:\d+$)");
    std::vector<std::string> all;
    for (const std::string& text : texts()) {
        std::smatch match;
        all.push_back(std::regex_match(text, match, form) ? match[1].str() : text);
    }
    return all;
}

} // namespace zvtest
