#include "bleMessages.h"

#include <gtest/gtest.h>
#include <memory>
#include <type_traits>
#include <typeinfo>

namespace {

// The slots of an object's virtual table.
void* const* slots(const Msg& message) {
    return *reinterpret_cast<void* const* const*>(&message);
}

void expectOnlyDestructorsOverridden(const Msg& message) {
    const Msg plain(2);
    constexpr int destructors = 2;
    constexpr int operations = 7;
    for (int i = 0; i < destructors; ++i) {
        EXPECT_NE(slots(plain)[i], slots(message)[i]) << "slot " << i;
    }
    for (int i = destructors; i < operations; ++i) {
        EXPECT_EQ(slots(plain)[i], slots(message)[i]) << "slot " << i;
    }
}

} // namespace

TEST(BleMessages, RequestsAreOfCategory2) {
    EXPECT_EQ(2, BLECommandMsg().getCategory());
    EXPECT_EQ(2, ZvNetMsg().getCategory());
}

TEST(BleMessages, TypeNamesAreThoseOfTheGlobalNamespace) {
    EXPECT_STREQ("13BLECommandMsg", typeid(BLECommandMsg).name());
    EXPECT_STREQ("8ZvNetMsg", typeid(ZvNetMsg).name());
}

TEST(BleMessages, DeriveFromMsgWithoutFieldsOfTheirOwn) {
    EXPECT_TRUE((std::is_convertible_v<BLECommandMsg*, Msg*>));
    EXPECT_TRUE((std::is_convertible_v<ZvNetMsg*, Msg*>));
    EXPECT_EQ(sizeof(Msg), sizeof(BLECommandMsg));
    EXPECT_EQ(sizeof(Msg), sizeof(ZvNetMsg));
}

TEST(BleMessages, OverrideTheDestructorsAlone) {
    expectOnlyDestructorsOverridden(BLECommandMsg());
    expectOnlyDestructorsOverridden(ZvNetMsg());
}

TEST(BleMessages, AreDestroyedThroughMsg) {
    const std::unique_ptr<Msg> command = std::make_unique<BLECommandMsg>();
    const Msg& ofCommand = *command;
    EXPECT_EQ(typeid(BLECommandMsg), typeid(ofCommand));
    const std::unique_ptr<Msg> net = std::make_unique<ZvNetMsg>();
    const Msg& ofNet = *net;
    EXPECT_EQ(typeid(ZvNetMsg), typeid(ofNet));
}

TEST(BleMessages, ElementTypes) {
    EXPECT_EQ(65, typeCMD);
    EXPECT_EQ(66, typeDATA);
    EXPECT_EQ(67, typeDST);
    EXPECT_EQ(68, typeSRC);
    EXPECT_EQ(69, typeRSP);
    EXPECT_EQ(238, typeTAIL);
    EXPECT_EQ(3, CAT_CGI_BP_RSP);
}
