#include "tlv.h"

#include <gtest/gtest.h>
#include <random>

namespace zvcamera {
namespace {

const Bytes pairingPhase{0x00, 0x2f, 0x00, 0x02,             // 47 bytes, category 2
                         0x00, 0x00, 0x02, 0x41, 'P',  'D',  // command tag
                         0x00, 0x00, 0x02, 0x42, 0x01, 0x03, // data
                         0x00, 0x00, 0x0a, 0x44, '/',  't',  'o', '_', 'Z', 'V', 'C', 'C', '1',
                         '2',                                                                   // reply queue
                         0x00, 0x00, 0x09, 0x43, '/',  't',  'o', '_', 'z', 'v', 'n', 'e', 't', // destination
                         0x00, 0x00, 0x00, 0xee};                                               // tail

std::string problemOf(Bytes bytes) {
    return decodeMessage(bytes).problem;
}

TEST(Tlv, ReadsEveryElementOfARequestInItsOrder) {
    const DecodedMessage decoded = decodeMessage(pairingPhase);
    EXPECT_EQ("", decoded.problem);
    EXPECT_EQ(2, decoded.message.category);
    ASSERT_EQ(5U, decoded.message.elements.size());
    EXPECT_EQ((Element{65, {'P', 'D'}}), decoded.message.elements[0]);
    EXPECT_EQ((Element{66, {1, 3}}), decoded.message.elements[1]);
    EXPECT_EQ("/to_ZVCC12", decoded.message.find(68)->text());
    EXPECT_EQ("/to_zvnet", decoded.message.find(67)->text());
    EXPECT_EQ((Element{238, {}}), decoded.message.elements[4]);
}

TEST(Tlv, WritesWhatItHasRead) {
    EXPECT_EQ(pairingPhase, encodeMessage(decodeMessage(pairingPhase).message));
}

TEST(Tlv, AReplyIsCategoryThreeWithStatusDataAndTail) {
    EXPECT_EQ((Bytes{0x00, 0x0f, 0x00, 0x03, 0x00, 0x00, 0x03, 0x45, 0, 7, 8, 0x00, 0x00, 0x00, 0xee}),
              encodeMessage(makeReply(0, Bytes{7, 8})));
    EXPECT_EQ((Bytes{0x00, 0x0d, 0x00, 0x03, 0x00, 0x00, 0x01, 0x45, 5, 0x00, 0x00, 0x00, 0xee}),
              encodeMessage(makeReply(5)));
}

TEST(Tlv, TheFirstOfSeveralElementsWithATagIsFound) {
    const Message message{2, {{65, {'a'}}, {65, {'b'}}}};
    EXPECT_EQ("a", message.find(65)->text());
    EXPECT_EQ(nullptr, message.find(66));
}

TEST(Tlv, EveryCutOfAMessageIsMalformed) {
    for (std::size_t length = 0; length < pairingPhase.size(); ++length) {
        EXPECT_NE("", problemOf({pairingPhase.begin(), pairingPhase.begin() + static_cast<std::ptrdiff_t>(length)}))
            << length;
    }
}

TEST(Tlv, BytesBehindTheMessageAreMalformed) {
    Bytes longer = pairingPhase;
    longer.push_back(0);
    EXPECT_EQ("element cut short", problemOf(longer));
    longer = pairingPhase;
    longer.insert(longer.end(), {0, 0, 0, 0x42});
    EXPECT_EQ("header says 47 bytes, got 51", problemOf(longer));
}

TEST(Tlv, TheTailMustStandOnceAtTheEndAndEmpty) {
    EXPECT_EQ("no tail at the end", problemOf({0, 4, 0, 2}));
    EXPECT_EQ("tail with data", problemOf({0, 9, 0, 2, 0, 0, 1, 0xee, 0}));
    EXPECT_EQ("tail before the end", problemOf({0, 12, 0, 2, 0, 0, 0, 0xee, 0, 0, 0, 0xee}));
    EXPECT_EQ("", problemOf({0, 8, 0, 2, 0, 0, 0, 0xee}));
}

TEST(Tlv, AnElementLongerThanTheMessageIsCutShort) {
    EXPECT_EQ("element cut short", problemOf({0, 8, 0, 2, 0, 0xff, 0xff, 0xee}));
    EXPECT_EQ("shorter than a message header", problemOf({0, 3, 0}));
}

TEST(Tlv, RandomBytesNeverLeadOutOfThem) {
    std::mt19937 random(42);
    for (int i = 0; i < 20000; ++i) {
        Bytes bytes(random() % 64);
        for (std::uint8_t& byte : bytes) {
            byte = random() % 4 == 0 ? static_cast<std::uint8_t>(random()) : std::uint8_t{0};
        }
        const DecodedMessage decoded = decodeMessage(bytes);
        if (decoded.problem.empty()) {
            EXPECT_EQ(bytes.size(), encodeMessage(decoded.message).size());
        }
    }
}

} // namespace
} // namespace zvcamera
