#include "zvCtrlD.h"

#include <gtest/gtest.h>

TEST(MsgElement, IsEmptyUntilItGetsData) {
    const MsgElement element(238, true);
    EXPECT_EQ(238, element.getType());
    EXPECT_EQ(0, element.getLength());
    EXPECT_EQ(nullptr, element.getData());
}

TEST(MsgElement, BorrowedDataStayTheCallers) {
    unsigned char data[] = {1, 2};
    MsgElement element(66, 2, data, true);
    EXPECT_EQ(data, element.getData());
    data[0] = 9;
    EXPECT_EQ(9, element.getData()[0]);
    unsigned char other[] = {3};
    element.setData(other, 1);
    EXPECT_EQ(other, element.getData());
    EXPECT_EQ(1, element.getLength());
}

TEST(MsgElement, OwnedDataAreCopied) {
    unsigned char data[] = {1, 2};
    MsgElement element(66, 2, data, false);
    data[0] = 9;
    ASSERT_NE(nullptr, element.getData());
    EXPECT_NE(data, element.getData());
    EXPECT_EQ(1, element.getData()[0]);
    EXPECT_EQ(2, element.getLength());
}

TEST(MsgElement, OwnedDataMayBeSetFromThemselves) {
    unsigned char data[] = {1, 2, 3};
    MsgElement element(66, 3, data, false);
    element.setData(element.getData() + 1, 2);
    EXPECT_EQ(2, element.getLength());
    EXPECT_EQ(2, element.getData()[0]);
    EXPECT_EQ(3, element.getData()[1]);
    element.setData(nullptr, 0);
    EXPECT_EQ(nullptr, element.getData());
}

TEST(MsgElement, NullDataHaveNoLength) {
    MsgElement constructed(65, 0, nullptr, true);
    EXPECT_EQ(0, constructed.getLength());
    constructed.setData(nullptr, 5);
    EXPECT_EQ(0, constructed.getLength());
    EXPECT_EQ(nullptr, constructed.getData());
    const MsgElement owned(65, 5, nullptr, false);
    EXPECT_EQ(0, owned.getLength());
}

TEST(MsgElement, NoLengthMeansNoData) {
    unsigned char data[] = {1};
    MsgElement element(65, 0, data, true);
    EXPECT_EQ(nullptr, element.getData());
}

TEST(MsgElement, HoldsTheLongestData) {
    std::vector<unsigned char> data(0xFFFF, 7);
    const MsgElement element(66, 0xFFFF, data.data(), false);
    EXPECT_EQ(0xFFFF, element.getLength());
    EXPECT_EQ(7, element.getData()[0xFFFE]);
}
