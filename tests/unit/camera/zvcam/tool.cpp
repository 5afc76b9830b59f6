#include "tool.h"

#include <gtest/gtest.h>

using zvcamera::Json;
using zvcamera::toText;

TEST(ToText, AlignsMembersAndIndentsNestedOnes) {
    EXPECT_EQ("a       1\n"
              "longer  text\n"
              "nested\n"
              "  deep  true\n"
              "  none  none\n",
              toText({{"a", 1}, {"longer", "text"}, {"nested", {{"deep", true}, {"none", nullptr}}}}));
}

TEST(ToText, EmptyListsAndObjectsAreNone) {
    EXPECT_EQ("a  none\nb  none\n", toText({{"a", Json::object()}, {"b", Json::array()}}));
}

TEST(ToText, ListsAreLines) {
    EXPECT_EQ("1\nx\n", toText(Json::array({1, "x"})));
    EXPECT_EQ("list\n  1\n  x\n", toText({{"list", Json::array({1, "x"})}}));
    EXPECT_EQ("a  1\n\nb  2\n\n", toText(Json::array({{{"a", 1}}, {{"b", 2}}})));
}

TEST(ToText, SingleValues) {
    EXPECT_EQ("text\n", toText("text"));
    EXPECT_EQ("-7\n", toText(-7));
    EXPECT_EQ("none\n", toText(nullptr));
}
