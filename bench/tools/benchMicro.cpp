// bench_micro: what the parts of a request cost, in nanoseconds of this processor, by Google Benchmark (all of its
// options).
#include "bleMessages.h"
#include "deviceAddress.h"
#include "zvCtrlD.h"
#include "zvHexdump.h"
#include "zvLog.h"
#include "zvTlv.h"

#include <algorithm>
#include <array>
#include <benchmark/benchmark.h>
#include <cstdint>
#include <string>

namespace {

constexpr unsigned messageSize = 1500;
constexpr std::uint8_t destinationTag = 67, replyTag = 68, endTag = 238;
using Message = std::array<std::uint8_t, messageSize + 4>; // an element may end 4 bytes behind the capacity

int build(Message& message, unsigned payload) {
    static constexpr std::array<std::uint8_t, messageSize> bytes{};
    int length = sntlv_msg_init(message.data(), messageSize, 2);
    length += sntlv_add_bin(message.data(), messageSize, 65, 2, "BL");
    length += sntlv_add_bin(message.data(), messageSize, 66, payload, bytes.data());
    length += sntlv_add_bin(message.data(), messageSize, replyTag, 10, "/to_ZVCC27");
    length += sntlv_add_bin(message.data(), messageSize, destinationTag, 7, "/to_ble");
    return length + sntlv_add_bin(message.data(), messageSize, endTag, 0, nullptr);
}

void tlvBuild(benchmark::State& state) {
    Message message{};
    for ([[maybe_unused]] auto round : state) {
        benchmark::DoNotOptimize(build(message, static_cast<unsigned>(state.range(0))));
    }
}
BENCHMARK(tlvBuild)->Arg(1)->Arg(1400);

void tlvValidate(benchmark::State& state) {
    Message message{};
    build(message, 1);
    for ([[maybe_unused]] auto round : state) {
        benchmark::DoNotOptimize(tlv_validate(message.data()));
    }
}
BENCHMARK(tlvValidate);

void tlvFind(benchmark::State& state) {
    Message message{};
    build(message, 1);
    for ([[maybe_unused]] auto round : state) {
        benchmark::DoNotOptimize(tlv_find(message.data(), destinationTag));
    }
}
BENCHMARK(tlvFind);

void hexDump(benchmark::State& state) {
    std::array<std::uint8_t, messageSize> bytes{};
    std::generate(bytes.begin(), bytes.end(), [value = 0U]() mutable { return static_cast<std::uint8_t>(value += 7); });
    std::array<char, 16384> text{};
    for ([[maybe_unused]] auto round : state) {
        benchmark::DoNotOptimize(
            snhexdump(text.data(), text.size(), bytes.data(), static_cast<std::uint32_t>(state.range(0)), ""));
    }
}
BENCHMARK(hexDump)->Arg(200)->Arg(1500);

void logLineHeldBack(benchmark::State& state) {
    zvUtilSetLogLevel(UTIL_LOG_ERROR);
    for ([[maybe_unused]] auto round : state) {
        ZV_LOG_AT(UTIL_LOG_DEBUG, __LINE__, "bench", "%s", "not written");
        benchmark::ClobberMemory();
    }
}
BENCHMARK(logLineHeldBack);

void requestWritten(benchmark::State& state) {
    std::array<unsigned char, messageSize> buffer{};
    std::array<unsigned char, 1> parameters{9};
    for ([[maybe_unused]] auto round : state) {
        MsgElement data(typeDATA, static_cast<unsigned short>(parameters.size()), parameters.data(), true);
        MsgElement tail(typeTAIL, true);
        BLECommandMsg request;
        request.addElement(&data);
        request.addElement(&tail);
        MemStream stream(buffer.data(), messageSize);
        stream << request;
        benchmark::DoNotOptimize(stream.getLength());
    }
}
BENCHMARK(requestWritten);

void replyRead(benchmark::State& state) {
    Message message{};
    const auto length = static_cast<unsigned short>(build(message, 1));
    for ([[maybe_unused]] auto round : state) {
        MemStream stream(message.data(), length);
        Msg reply(3);
        stream >> reply;
        benchmark::DoNotOptimize(reply.findElement(typeDATA));
    }
}
BENCHMARK(replyRead);

void parameterRead(benchmark::State& state) {
    const char* const query = "device=A1B2C3D4E5F6&address_type=1&auto_connect=%31";
    for ([[maybe_unused]] auto round : state) {
        std::string value;
        benchmark::DoNotOptimize(parseParam(query, "auto_connect=", value));
    }
}
BENCHMARK(parameterRead);

void addressRead(benchmark::State& state) {
    const std::string text = "A1B2C3D4E5F6";
    std::array<std::uint8_t, bleAddressSize> address{};
    for ([[maybe_unused]] auto round : state) {
        benchmark::DoNotOptimize(parse_device_address(text, address.data()));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(addressRead);

} // namespace

BENCHMARK_MAIN();
