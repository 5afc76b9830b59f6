#include "controlProtocol.h"

#include <cstring>

namespace zvcontrol {
namespace {

constexpr unsigned char version = 1;
constexpr unsigned char requestMark[] = {'Z', 'C', version};
constexpr unsigned char answerMark[] = {'Z', 'A', version};

std::size_t encode(const unsigned char (&mark)[3], unsigned char operation, std::int32_t number,
                   std::span<const unsigned char> data, std::span<unsigned char, maxPacket> packet) {
    if (data.size() > maxData) {
        return 0;
    }
    std::memcpy(packet.data(), mark, sizeof mark);
    packet[3] = operation;
    putNumber(number, packet.subspan<4, 4>());
    if (!data.empty()) {
        std::memcpy(packet.data() + headerSize, data.data(), data.size());
    }
    return headerSize + data.size();
}

bool framed(const unsigned char (&mark)[3], std::span<const unsigned char> packet) {
    return packet.size() >= headerSize && packet.size() <= maxPacket &&
           std::memcmp(packet.data(), mark, sizeof mark) == 0;
}

bool paramFits(Operation operation, std::size_t length) {
    switch (operation) {
    case Operation::Open:
    case Operation::Close:
    case Operation::GetState:
    case Operation::GetItem:
        return length == 0;
    case Operation::Command:
        return true;
    case Operation::SetItem:
        return length == 4;
    }
    return false; // no operation of ours
}

} // namespace

void putNumber(std::int32_t number, std::span<unsigned char, 4> bytes) {
    const auto bits = static_cast<std::uint32_t>(number);
    bytes[0] = static_cast<unsigned char>(bits >> 24);
    bytes[1] = static_cast<unsigned char>(bits >> 16);
    bytes[2] = static_cast<unsigned char>(bits >> 8);
    bytes[3] = static_cast<unsigned char>(bits);
}

std::int32_t takeNumber(std::span<const unsigned char, 4> bytes) {
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
    const auto operation = static_cast<Operation>(packet[3]);
    const auto param = packet.subspan(headerSize);
    if (!paramFits(operation, param.size())) {
        return std::nullopt;
    }
    return Request{operation, takeNumber(packet.subspan<4, 4>()), param};
}

std::optional<AnswerView> decodeAnswer(std::span<const unsigned char> packet) {
    if (!framed(answerMark, packet) || packet[3] != 0) {
        return std::nullopt;
    }
    const AnswerView answer{takeNumber(packet.subspan<4, 4>()), packet.subspan(headerSize)};
    if (answer.result != 0 && !answer.data.empty()) {
        return std::nullopt;
    }
    return answer;
}

} // namespace zvcontrol
