#include "controlProtocol.h"

#include "guarded.h"

#include <gtest/gtest.h>
#include <random>
#include <vector>

using namespace zvcontrol;
using zvtest::Guarded;
using Bytes = std::vector<unsigned char>;

namespace {

Bytes request(Operation operation, std::int32_t number, const Bytes& param = {}) {
    unsigned char packet[maxPacket];
    const std::size_t length = encodeRequest({operation, number, param}, packet);
    return {packet, packet + length};
}

bool requestTaken(const Bytes& bytes) {
    const Guarded packet{bytes};
    return decodeRequest({packet.data(), packet.size()}).has_value();
}

bool answerTaken(const Bytes& bytes) {
    const Guarded packet{bytes};
    return decodeAnswer({packet.data(), packet.size()}).has_value();
}

} // namespace

TEST(ControlProtocol, RequestsByteForByte) {
    EXPECT_EQ((Bytes{'Z', 'C', 1, 1, 0, 0, 0, 0}), request(Operation::Open, 0));
    EXPECT_EQ((Bytes{'Z', 'C', 1, 1, 0, 0, 0, 0, '8', '0'}), request(Operation::Open, 0, {'8', '0'}));
    EXPECT_EQ((Bytes{'Z', 'C', 1, 2, 0, 0, 0, 0}), request(Operation::Close, 0));
    EXPECT_EQ((Bytes{'Z', 'C', 1, 3, 0, 0, 0, 38}), request(Operation::Command, 38));
    EXPECT_EQ((Bytes{'Z', 'C', 1, 3, 0xFF, 0xFF, 0xFF, 0xFE, 9, 8}), request(Operation::Command, -2, {9, 8}));
    EXPECT_EQ((Bytes{'Z', 'C', 1, 4, 0, 0, 0, 7}), request(Operation::GetState, 7));
    EXPECT_EQ((Bytes{'Z', 'C', 1, 5, 0, 0, 0, 54}), request(Operation::GetItem, 54));
    EXPECT_EQ((Bytes{'Z', 'C', 1, 6, 0, 0, 0, 54, 0x12, 0x34, 0x56, 0x78}),
              request(Operation::SetItem, 54, {0x12, 0x34, 0x56, 0x78}));
}

TEST(ControlProtocol, AnswersByteForByte) {
    unsigned char packet[maxPacket];
    const Bytes text = {'o', 'k'};
    EXPECT_EQ(10U, encodeAnswer({0, text}, packet));
    EXPECT_EQ((Bytes{'Z', 'A', 1, 0, 0, 0, 0, 0, 'o', 'k'}), Bytes(packet, packet + 10));
    EXPECT_EQ(8U, encodeAnswer({-18, {}}, packet));
    EXPECT_EQ((Bytes{'Z', 'A', 1, 0, 0xFF, 0xFF, 0xFF, 0xEE}), Bytes(packet, packet + 8));
}

TEST(ControlProtocol, NumbersAreBigEndianAndSigned) {
    for (const std::int32_t number : {0, 1, -1, 0x12345678, INT32_MIN, INT32_MAX}) {
        unsigned char bytes[4];
        putNumber(number, bytes);
        EXPECT_EQ(number, takeNumber(bytes));
    }
    unsigned char bytes[4];
    putNumber(0x12345678, bytes);
    EXPECT_EQ((Bytes{0x12, 0x34, 0x56, 0x78}), Bytes(bytes, bytes + 4));
}

TEST(ControlProtocol, DataAreBounded) {
    unsigned char packet[maxPacket];
    const Bytes most(4096, 1);
    const Bytes more(4097, 1);
    EXPECT_EQ(4104U, encodeRequest({Operation::Command, 1, most}, packet));
    EXPECT_EQ(0U, encodeRequest({Operation::Command, 1, more}, packet));
    EXPECT_EQ(4104U, encodeAnswer({0, most}, packet));
    EXPECT_EQ(0U, encodeAnswer({0, more}, packet));
    EXPECT_TRUE(requestTaken(request(Operation::Command, 1, most)));
    Bytes tooLong = request(Operation::Command, 1, most);
    tooLong.push_back(0);
    EXPECT_FALSE(requestTaken(tooLong));
}

TEST(ControlProtocol, EveryTruncationIsRefused) {
    const Bytes set = request(Operation::SetItem, 3, {0, 0, 0, 1});
    for (std::size_t length = 0; length < set.size(); ++length) {
        EXPECT_FALSE(requestTaken({set.begin(), set.begin() + static_cast<std::ptrdiff_t>(length)})) << length;
    }
    const Bytes answer = {'Z', 'A', 1, 0, 0, 0, 0, 0};
    for (std::size_t length = 0; length < answer.size(); ++length) {
        EXPECT_FALSE(answerTaken({answer.begin(), answer.begin() + static_cast<std::ptrdiff_t>(length)})) << length;
    }
    EXPECT_TRUE(requestTaken(set));
    EXPECT_TRUE(answerTaken(answer));
}

TEST(ControlProtocol, EveryMarkCounts) {
    const Bytes open = request(Operation::Open, 0);
    const Bytes answer = {'Z', 'A', 1, 0, 0, 0, 0, 0};
    for (std::size_t i = 0; i < 4; ++i) {
        for (unsigned value = 0; value < 256; ++value) {
            Bytes bytes = open;
            bytes[i] = static_cast<unsigned char>(value);
            const bool operation = i == 3 && value >= 1 && value <= 5; // 6 needs a parameter
            EXPECT_EQ(bytes == open || operation, requestTaken(bytes)) << i << " " << value;
            bytes = answer;
            bytes[i] = static_cast<unsigned char>(value);
            EXPECT_EQ(bytes == answer, answerTaken(bytes)) << i << " " << value;
        }
    }
}

TEST(ControlProtocol, ParametersStandOnlyWhereTheyBelong) {
    for (const Operation operation : {Operation::Open, Operation::Close, Operation::GetState, Operation::GetItem}) {
        EXPECT_FALSE(requestTaken(request(operation, 0, {1})));
    }
    EXPECT_FALSE(requestTaken(request(Operation::SetItem, 3)));
    EXPECT_FALSE(requestTaken(request(Operation::SetItem, 3, {1, 2, 3})));
    EXPECT_FALSE(requestTaken(request(Operation::SetItem, 3, {1, 2, 3, 4, 5})));
}

TEST(ControlProtocol, OpenCarriesAPortOrNothing) {
    EXPECT_TRUE(requestTaken(request(Operation::Open, 0)));
    EXPECT_TRUE(requestTaken(request(Operation::Open, 0, {'7'})));
    EXPECT_TRUE(requestTaken(request(Operation::Open, 0, {'6', '5', '5', '3', '5'})));
    EXPECT_FALSE(requestTaken(request(Operation::Open, 0, {'0', '6', '5', '5', '3', '5'})));
    for (const unsigned char other : {'\0', '/', ':', '-', ' ', '\xff'}) {
        EXPECT_FALSE(requestTaken(request(Operation::Open, 0, {'1', other})));
    }
    EXPECT_FALSE(requestTaken(request(Operation::Close, 0, {'7'})));
}

TEST(ControlProtocol, AFailureCarriesNoData) {
    EXPECT_FALSE(answerTaken({'Z', 'A', 1, 0, 0xFF, 0xFF, 0xFF, 0xFF, 1}));
}

TEST(ControlProtocol, RandomPacketsStayInside) {
    std::mt19937 random(20240305);
    for (int round = 0; round < 20000; ++round) {
        Bytes bytes(random() % 24);
        for (unsigned char& byte : bytes) {
            byte = static_cast<unsigned char>(random());
        }
        if (bytes.size() > 4 && round % 2 == 0) {
            bytes[0] = 'Z';
            bytes[1] = round % 4 == 0 ? 'C' : 'A';
            bytes[2] = 1;
            bytes[3] %= 8;
        }
        requestTaken(bytes);
        answerTaken(bytes);
    }
}
