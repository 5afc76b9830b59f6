#include "bleTest.h"

#include <algorithm>
#include <fcntl.h>
#include <mqueue.h>
#include <regex>

namespace {

constexpr char filling = '\x7F';
constexpr std::size_t roomyBuffer = 4096;
constexpr std::size_t behindBuffer = 16;

} // namespace

Bytes join(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

Bytes bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

Bytes element(std::uint8_t type, const Bytes& data) {
    const auto length = data.size();
    return join({{0, static_cast<std::uint8_t>(length >> 8), static_cast<std::uint8_t>(length), type}, data});
}

Bytes message(std::uint8_t category, const Bytes& elements) {
    const auto length = elements.size() + 4;
    return join({{static_cast<std::uint8_t>(length >> 8), static_cast<std::uint8_t>(length), 0, category}, elements});
}

Bytes bleRequest(const Bytes& data) {
    return message(
        2, join({element(65, bytesOf("BL")), element(66, data), element(68, bytesOf(QueuePeer::replyQueueName())),
                 element(67, bytesOf("/to_ble")), element(238, {})}));
}

Bytes dataOf(const Bytes& request) {
    constexpr std::size_t tag = 4;
    constexpr std::size_t data = tag + 4 + 2;
    if (request.size() < data + 4) {
        return {};
    }
    const std::size_t length = request[data + 1] * 256U + request[data + 2];
    const auto start = request.begin() + data + 4;
    Bytes found(start, start + static_cast<std::ptrdiff_t>(std::min(length, request.size() - data - 4)));
    return request == bleRequest(found) ? found : Bytes{};
}

Bytes replyOf(std::uint8_t status, const Bytes& data) {
    return message(3, element(69, join({{status}, data})));
}

std::vector<std::string> linesOf(SyslogCapture& log) {
    static const std::regex form(R"(^(UTIL_LOG_[A-Z]+ *:)([\s\S]*)( @[^@\n]*):\d+$)");
    std::vector<std::string> all;
    for (const std::string& text : log.texts()) {
        std::smatch match;
        if (!std::regex_match(text, match, form)) {
            all.push_back(text);
        } else if (match[1] == "UTIL_LOG_ERROR:" && match[3] == " @command_ble") {
            all.push_back(match[2]);
        } else {
            all.push_back(match[1].str() + match[2].str() + match[3].str());
        }
    }
    return all;
}

std::string warning(const std::string& text) {
    return "UTIL_LOG_WARN :" + text + " @command_ble";
}

std::string debugLine(const std::string& text) {
    return "UTIL_LOG_DEBUG:" + text + " @command_ble";
}

void makeQueue(const std::string& name) {
    mq_attr attributes{};
    attributes.mq_maxmsg = 1;
    attributes.mq_msgsize = 16;
    const mqd_t queue = mq_open(name.c_str(), O_RDONLY | O_CREAT | O_EXCL, 0600, &attributes);
    ASSERT_LE(0, queue) << name;
    mq_close(queue);
}

BleTest::BleTest(long peersMessageSize) : peer_(peersMessageSize), buffer_(roomyBuffer + behindBuffer, filling) {
    g_logLevel = UTIL_LOG_INFO; // all but traces
    EXPECT_EQ(0, ble_interface_open());
}

BleTest::~BleTest() {
    faults::clockOffset = 0;
    faults::monotonicOffset = 0;
    EXPECT_EQ(0, ble_interface_close());
    EXPECT_TRUE(std::all_of(buffer_.end() - behindBuffer, buffer_.end(), [](char c) { return c == filling; }));
}

int BleTest::call(Handler handler, const char* query) {
    return callWithRoom(handler, query, static_cast<int>(roomyBuffer));
}

int BleTest::callWithRoom(Handler handler, const char* query, int room) {
    std::fill(buffer_.begin(), buffer_.end(), filling);
    const int result = handler(query, buffer_.data(), room);
    const auto behind = buffer_.begin() + std::max(room, 0);
    EXPECT_TRUE(std::all_of(behind, buffer_.end(), [](char c) { return c == filling; }));
    return result;
}

int BleTest::callWithoutBuffer(Handler handler, const char* query) {
    std::fill(buffer_.begin(), buffer_.end(), filling);
    return handler(query, nullptr, static_cast<int>(roomyBuffer));
}

std::string BleTest::response() const {
    if (std::all_of(buffer_.begin(), buffer_.end(), [](char c) { return c == filling; })) {
        return "untouched";
    }
    return {buffer_.begin(), std::find(buffer_.begin(), buffer_.end(), '\0')};
}

std::vector<Bytes> BleTest::sent() {
    std::vector<Bytes> all;
    for (const Bytes& request : peer_.requests()) {
        all.push_back(dataOf(request));
    }
    return all;
}
