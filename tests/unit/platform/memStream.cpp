#include "guarded.h"
#include "zvCtrlD.h"

#include <gtest/gtest.h>

using zvtest::Guarded;

TEST(MemStream, WritesFromTheStartAndCounts) {
    unsigned char buffer[4] = {9, 9, 9, 9};
    MemStream stream(buffer, 4);
    const unsigned char data[] = {1, 2, 3};
    EXPECT_TRUE(stream.write(data, 3));
    EXPECT_EQ(buffer, stream.getBuffer());
    EXPECT_EQ(3, stream.getLength());
    EXPECT_EQ(1, stream.getRoom());
    EXPECT_EQ(4, stream.getUnread());
    EXPECT_EQ(1, buffer[0]);
    EXPECT_EQ(3, buffer[2]);
    EXPECT_EQ(9, buffer[3]);
    EXPECT_FALSE(stream.fail());
}

TEST(MemStream, WritesUpToItsCapacityAndNotBeyond) {
    Guarded bytes{9, 9};
    MemStream stream(bytes.data(), 2);
    const unsigned char data[] = {1, 2, 3};
    EXPECT_FALSE(stream.write(data, 3));
    EXPECT_TRUE(stream.fail());
    EXPECT_EQ(0, stream.getLength());
    EXPECT_EQ(9, bytes.data()[0]);
    MemStream exact(bytes.data(), 2);
    EXPECT_TRUE(exact.write(data, 2));
    EXPECT_FALSE(exact.fail());
    EXPECT_EQ(0, exact.getRoom());
}

TEST(MemStream, FailureStays) {
    unsigned char buffer[2] = {7, 8};
    MemStream stream(buffer, 2);
    unsigned char three[3] = {};
    EXPECT_FALSE(stream.read(three, 3));
    unsigned char one = 5;
    EXPECT_FALSE(stream.read(&one, 1));
    EXPECT_FALSE(stream.write(&one, 1));
    EXPECT_EQ(nullptr, stream.take(0));
    EXPECT_EQ(5, one);
    EXPECT_EQ(7, buffer[0]);
    MemStream told(buffer, 2);
    told.setFail();
    EXPECT_FALSE(told.read(&one, 1));
}

TEST(MemStream, ReadsFromTheStartToItsEnd) {
    Guarded bytes{10, 20, 30};
    MemStream stream(bytes.data(), bytes.size());
    unsigned char first = 0;
    stream >> first;
    EXPECT_EQ(10, first);
    EXPECT_EQ(2, stream.getUnread());
    unsigned char* rest = stream.take(2);
    EXPECT_EQ(bytes.data() + 1, rest);
    EXPECT_EQ(0, stream.getUnread());
    EXPECT_FALSE(stream.fail());
    unsigned char beyond = 77;
    stream >> beyond;
    EXPECT_TRUE(stream.fail());
    EXPECT_EQ(77, beyond);
}

TEST(MemStream, ByteOperatorsChain) {
    unsigned char buffer[2] = {};
    MemStream out(buffer, 2);
    out << static_cast<unsigned char>(0x41) << static_cast<unsigned char>(0xFF);
    EXPECT_EQ(2, out.getLength());
    unsigned char a = 0;
    unsigned char b = 0;
    MemStream in(buffer, 2);
    in >> a >> b;
    EXPECT_EQ(0x41, a);
    EXPECT_EQ(0xFF, b);
    out << static_cast<unsigned char>(0);
    EXPECT_TRUE(out.fail());
}

TEST(MemStream, NothingIsReadOrWrittenWithoutABuffer) {
    MemStream stream(nullptr, 1500);
    EXPECT_EQ(0, stream.getUnread());
    EXPECT_EQ(0, stream.getRoom());
    unsigned char byte = 3;
    stream >> byte;
    EXPECT_TRUE(stream.fail());
    EXPECT_EQ(3, byte);
}

TEST(MemStream, NullDataIsRefused) {
    unsigned char buffer[2] = {1, 2};
    MemStream in(buffer, 2);
    EXPECT_FALSE(in.read(nullptr, 1));
    EXPECT_EQ(2, in.getUnread());
    MemStream out(buffer, 2);
    EXPECT_FALSE(out.write(nullptr, 1));
    MemStream none(buffer, 2);
    EXPECT_TRUE(none.write(nullptr, 0));
    EXPECT_TRUE(none.read(nullptr, 0));
}

TEST(MemStream, HoldsTheWholeRangeOf16Bits) {
    std::vector<unsigned char> all(0xFFFF, 1);
    Guarded bytes(all);
    MemStream out(bytes.data(), 0xFFFF);
    EXPECT_TRUE(out.write(all.data(), 0xFFFF));
    EXPECT_EQ(0xFFFF, out.getLength());
    const unsigned char more = 1;
    EXPECT_FALSE(out.write(&more, 1));
    MemStream in(bytes.data(), 0xFFFF);
    EXPECT_EQ(bytes.data(), in.take(0xFFFF));
    EXPECT_EQ(nullptr, in.take(1));
}
