#include "guarded.h"
#include "zvCtrlD.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

namespace {

using testing::ElementsAreArray;
using zvtest::Guarded;
using Bytes = std::vector<unsigned char>;

unsigned char* text(const char* characters) {
    return reinterpret_cast<unsigned char*>(const_cast<char*>(characters));
}

Bytes written(const Msg& message, unsigned short capacity = 1500) {
    const Guarded room{Bytes(capacity, 0xAA)};
    MemStream stream(room.data(), capacity);
    stream << message;
    EXPECT_FALSE(stream.fail());
    return {room.data(), room.data() + stream.getLength()};
}

} // namespace

TEST(Msg, EmptyMessageIsItsHeader) {
    const Msg message(2);
    EXPECT_EQ(2, message.getCategory());
    EXPECT_EQ(4U, message.getSize());
    EXPECT_THAT(written(message), ElementsAreArray(Bytes{0x00, 0x04, 0x00, 0x02}));
}

TEST(Msg, RequestIsWrittenByteForByte) {
    unsigned char data[] = {0x01, 0x03};
    MsgElement tag(65, 2, text("PD"), true);
    MsgElement block(66, 2, data, true);
    MsgElement reply(68, 12, text("/to_ZVCC4711"), true);
    MsgElement destination(67, 9, text("/to_zvnet"), true);
    MsgElement tail(238, true);
    Msg message(2);
    for (MsgElement* element : {&tag, &block, &reply, &destination, &tail}) {
        message.addElement(element);
    }
    EXPECT_EQ(49U, message.getSize());
    EXPECT_THAT(written(message), ElementsAreArray(Bytes{0x00, 0x31, 0x00, 0x02,             // 49 bytes, category 2
                                                         0x00, 0x00, 0x02, 0x41, 'P',  'D',  // 65
                                                         0x00, 0x00, 0x02, 0x42, 0x01, 0x03, // 66
                                                         0x00, 0x00, 0x0C, 0x44, '/',  't',  'o', '_', 'Z', 'V', // 68
                                                         'C',  'C',  '4',  '7',  '1',  '1',                      //
                                                         0x00, 0x00, 0x09, 0x43, '/',  't',  'o', '_', 'z', 'v', // 67
                                                         'n',  'e',  't',                                        //
                                                         0x00, 0x00, 0x00, 0xEE}));                              // 238
}

TEST(Msg, LengthsAreBigEndian) {
    Bytes data(0x0102, 0x55);
    MsgElement element(69, 0x0102, data.data(), true);
    Msg message(3);
    message.addElement(&element);
    const Bytes bytes = written(message);
    ASSERT_EQ(0x010AU, bytes.size());
    EXPECT_THAT(Bytes(bytes.begin(), bytes.begin() + 8),
                ElementsAreArray(Bytes{0x01, 0x0A, 0x00, 0x03, 0x00, 0x01, 0x02, 0x45}));
}

TEST(Msg, AMessageThatDoesNotFitIsNotWrittenAtAll) {
    MsgElement tag(65, 2, text("BL"), true);
    Msg message(2);
    message.addElement(&tag);
    const Guarded room{Bytes(9, 0xAA)};
    MemStream stream(room.data(), 9);
    stream << message;
    EXPECT_TRUE(stream.fail());
    EXPECT_EQ(0, stream.getLength());
    EXPECT_EQ(Bytes(9, 0xAA), Bytes(room.data(), room.data() + 9));
    EXPECT_EQ(10U, written(message, 10).size());
}

TEST(Msg, AMessageBeyond65535BytesIsNotWritten) {
    Bytes data(0xFFF7, 1);
    MsgElement big(66, 0xFFF7, data.data(), true); // 4 + 4 + 0xFFF7 = 0xFFFF
    Msg message(2);
    message.addElement(&big);
    EXPECT_EQ(0xFFFFU, message.getSize());
    EXPECT_EQ(0xFFFFU, written(message, 0xFFFF).size());
    MsgElement tail(238, true);
    message.addElement(&tail);
    EXPECT_EQ(0x10003U, message.getSize());
    const Guarded room{Bytes(0xFFFF, 0)};
    MemStream stream(room.data(), 0xFFFF);
    stream << message;
    EXPECT_TRUE(stream.fail());
    EXPECT_EQ(0, stream.getLength());
}

TEST(Msg, WritesTheDataThatAnElementHasWhenItIsWritten) {
    MsgElement tag(65, true);
    Msg message(2);
    message.addElement(&tag);
    tag.setData(text("BL"), 2);
    EXPECT_EQ(10U, message.getSize());
    EXPECT_THAT(written(message), ElementsAreArray(Bytes{0x00, 0x0A, 0x00, 0x02, 0x00, 0x00, 0x02, 0x41, 'B', 'L'}));
}

TEST(Msg, FindsTheFirstElementOfAType) {
    MsgElement first(69, 1, text("a"), true);
    MsgElement second(69, 1, text("b"), true);
    MsgElement other(67, true);
    Msg message(3);
    message.addElement(&other);
    message.addElement(&first);
    message.addElement(&second);
    EXPECT_EQ(&first, message.findElement(69));
    EXPECT_EQ(&other, message.findElement(67));
    EXPECT_EQ(nullptr, message.findElement(68));
}

TEST(Msg, NullElementIsIgnored) {
    Msg message(2);
    message.addElement(nullptr);
    EXPECT_EQ(4U, message.getSize());
    EXPECT_EQ(nullptr, message.findElement(0));
}

TEST(Msg, ClearDropsTheElementsAndKeepsTheCategory) {
    MsgElement tag(65, 2, text("BL"), true);
    Msg message(2);
    for (int i = 0; i < 20; ++i) {
        message.addElement(&tag);
    }
    message.clear();
    EXPECT_EQ(2, message.getCategory());
    EXPECT_EQ(4U, message.getSize());
    EXPECT_EQ(nullptr, message.findElement(65));
    message.addElement(&tag);
    EXPECT_EQ(10U, message.getSize());
}

TEST(Msg, KeepsTheOrderOfManyElements) {
    std::vector<std::unique_ptr<MsgElement>> elements;
    Msg message(2);
    for (unsigned char type = 0; type < 100; ++type) {
        elements.push_back(std::make_unique<MsgElement>(type, true));
        message.addElement(elements.back().get());
    }
    const Bytes bytes = written(message);
    ASSERT_EQ(404U, bytes.size());
    for (std::size_t i = 0; i < 100; ++i) {
        EXPECT_EQ(i, bytes[4 + i * 4 + 3]);
    }
}

TEST(Msg, AnElementMayBeInSeveralMessages) {
    MsgElement tail(238, true);
    Msg one(2);
    Msg two(3);
    one.addElement(&tail);
    two.addElement(&tail);
    two.addElement(&tail);
    EXPECT_EQ(8U, one.getSize());
    EXPECT_EQ(12U, two.getSize());
}
