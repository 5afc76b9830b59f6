#include "controlProtocol.h"

#include <algorithm>
#include <cstring>

namespace zvcontrol {
namespace {

constexpr unsigned char version = 1;
constexpr unsigned char requestMark[] = {'Z', 'C', version};
constexpr unsigned char answerMark[] = {'Z', 'A', version};
constexpr std::size_t markSize = sizeof requestMark;
constexpr std::size_t operationAt = markSize;
constexpr std::size_t numberAt = operationAt + 1;
static_assert(sizeof answerMark == markSize && numberAt + numberSize == headerSize);

std::size_t encode(const unsigned char (&mark)[markSize], unsigned char operation, std::int32_t number,
                   std::span<const unsigned char> data, std::span<unsigned char, maxPacket> packet) {
    if (data.size() > maxData) {
        return 0;
    }
    std::memcpy(packet.data(), mark, markSize);
    packet[operationAt] = operation;
    putNumber(number, packet.subspan<numberAt, numberSize>());
    if (!data.empty()) {
        std::memcpy(packet.data() + headerSize, data.data(), data.size());
    }
    return headerSize + data.size();
}

// True when the packet has a header with the mark, and no more data than may be.
bool framed(const unsigned char (&mark)[markSize], std::span<const unsigned char> packet) {
    return packet.size() >= headerSize && packet.size() <= maxPacket && std::memcmp(packet.data(), mark, markSize) == 0;
}

// True when the operation exists and takes such a parameter.
bool paramFits(Operation operation, std::span<const unsigned char> param) {
    switch (operation) {
    case Operation::Open:
        return param.empty() || isPort(param);
    case Operation::Close:
    case Operation::GetState:
    case Operation::GetItem:
        return param.empty();
    case Operation::Command:
        return true;
    case Operation::SetItem:
        return param.size() == numberSize;
    }
    return false; // an unknown operation
}

} // namespace

bool isPort(std::span<const unsigned char> bytes) {
    return !bytes.empty() && bytes.size() <= portDigits &&
           std::all_of(bytes.begin(), bytes.end(), [](unsigned char c) { return c >= '0' && c <= '9'; });
}

void putNumber(std::int32_t number, std::span<unsigned char, numberSize> bytes) {
    const auto bits = static_cast<std::uint32_t>(number);
    bytes[0] = static_cast<unsigned char>(bits >> 24);
    bytes[1] = static_cast<unsigned char>(bits >> 16);
    bytes[2] = static_cast<unsigned char>(bits >> 8);
    bytes[3] = static_cast<unsigned char>(bits);
}

std::int32_t takeNumber(std::span<const unsigned char, numberSize> bytes) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(bytes[0]) << 24 |
                                     static_cast<std::uint32_t>(bytes[1]) << 16 |
                                     static_cast<std::uint32_t>(bytes[2]) << 8 | bytes[3]);
}

std::size_t encodeRequest(const Request& request, std::span<unsigned char, maxPacket> packet) {
    return encode(requestMark, static_cast<unsigned char>(request.operation), request.number, request.param, packet);
}

std::size_t encodeAnswer(const AnswerView& answer, std::span<unsigned char, maxPacket> packet) {
    return encode(answerMark, 0, answer.result, answer.data, packet);
}

std::optional<Request> decodeRequest(std::span<const unsigned char> packet) {
    if (!framed(requestMark, packet)) {
        return std::nullopt;
    }
    const auto operation = static_cast<Operation>(packet[operationAt]);
    const auto param = packet.subspan(headerSize);
    if (!paramFits(operation, param)) {
        return std::nullopt;
    }
    return Request{operation, takeNumber(packet.subspan<numberAt, numberSize>()), param};
}

std::optional<AnswerView> decodeAnswer(std::span<const unsigned char> packet) {
    if (!framed(answerMark, packet) || packet[operationAt] != 0) {
        return std::nullopt;
    }
    const AnswerView answer{takeNumber(packet.subspan<numberAt, numberSize>()), packet.subspan(headerSize)};
    if (answer.result != 0 && !answer.data.empty()) {
        return std::nullopt;
    }
    return answer;
}

} // namespace zvcontrol
