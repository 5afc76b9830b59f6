// A message's use of the heap: none for up to 8 elements, and no harm when there is no memory for more.
#include "zvCtrlD.h"
#include "zvLog.h"

#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <new>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace {

long allocations = 0;
bool exhausted = false;

void* allocate(std::size_t size) noexcept {
    ++allocations;
    return exhausted ? nullptr : std::malloc(size);
}

} // namespace

void* operator new(std::size_t size) {
    if (void* memory = allocate(size)) {
        return memory;
    }
    throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace {

// Allocations made while action runs.
template<class Action>
long during(Action action) {
    const long before = allocations;
    action();
    return allocations - before;
}

// Takes what is sent to syslog.
class LogSocket {
public:
    LogSocket() : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path);
        unlink(path);
        EXPECT_EQ(0, bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address));
    }
    ~LogSocket() {
        close(socket_);
        unlink(path);
    }
    LogSocket(const LogSocket&) = delete;
    LogSocket& operator=(const LogSocket&) = delete;

    // The next packet; empty when there is none.
    std::string next() const {
        char packet[2048];
        const ssize_t length = recv(socket_, packet, sizeof packet, MSG_DONTWAIT);
        return length < 0 ? std::string() : std::string(packet, static_cast<std::size_t>(length));
    }

private:
    static constexpr const char* path = "/dev/log";
    int socket_;
};

std::vector<unsigned char> elements(std::size_t count) {
    std::vector<unsigned char> bytes(4 + count * 4, 0);
    bytes[0] = static_cast<unsigned char>(bytes.size() >> 8);
    bytes[1] = static_cast<unsigned char>(bytes.size());
    return bytes;
}

} // namespace

TEST(MsgHeap, EightElementsNeedNone) {
    const LogSocket log; // not SyslogCapture: the allocations of its thread would count
    g_logLevel = UTIL_LOG_TRACE;
    g_debug_level |= 0x100;
    unsigned char data[] = {'B', 'L'};
    unsigned char buffer[1500];
    EXPECT_EQ(0, during([&] {
                  MsgElement element(65, 2, data, true);
                  Msg message(2);
                  for (int i = 0; i < 8; ++i) {
                      message.addElement(&element);
                  }
                  MemStream out(buffer, sizeof buffer);
                  out << message;
                  MemStream in(buffer, out.getLength());
                  Msg read(20);
                  in >> read;
                  read.findElement(65);
                  read.dump(nullptr);
              }));
    EXPECT_NE(std::string::npos, log.next().find(":message category 2, 52 bytes [65:2] 424c [65:2] "));
}

TEST(MsgHeap, ReadingNeedsNoMoreThanWhatArrived) {
    auto bytes = elements(17);
    Msg message(20);
    EXPECT_EQ(2, during([&] {
                  MemStream in(bytes.data(), static_cast<unsigned short>(bytes.size()));
                  in >> message;
              })); // 8 + 8 + 1
    EXPECT_EQ(bytes.size(), message.getSize());
    auto false17 = elements(17);
    false17.resize(8); // says 72 bytes, has 8
    EXPECT_EQ(0, during([&] {
                  MemStream in(false17.data(), 8);
                  in >> message;
              }));
}

TEST(MsgHeap, WithoutMemoryAMessageIsNotReadByHalves) {
    auto bytes = elements(9);
    MemStream in(bytes.data(), static_cast<unsigned short>(bytes.size()));
    Msg message(20);
    exhausted = true;
    in >> message;
    exhausted = false;
    EXPECT_TRUE(in.fail());
    EXPECT_EQ(4U, message.getSize());
}

TEST(MsgHeap, WithoutMemoryAMessageIsNotWrittenByHalves) {
    MsgElement element(65, true);
    Msg message(2);
    exhausted = true;
    for (int i = 0; i < 9; ++i) {
        message.addElement(&element);
    }
    exhausted = false;
    unsigned char buffer[100];
    MemStream out(buffer, sizeof buffer);
    out << message;
    EXPECT_TRUE(out.fail());
    EXPECT_EQ(0, out.getLength());
    message.clear();
    message.addElement(&element);
    MemStream again(buffer, sizeof buffer);
    again << message;
    EXPECT_EQ(8, again.getLength());
}

TEST(MsgHeap, WithoutMemoryAnElementOwnsNothing) {
    unsigned char data[] = {1, 2};
    exhausted = true;
    const MsgElement element(65, 2, data, false);
    exhausted = false;
    EXPECT_EQ(0, element.getLength());
    EXPECT_EQ(nullptr, element.getData());
}
