#include "zvModel.h"

#include <climits>
#include <gtest/gtest.h>
#include <map>

namespace {

const std::map<int, const char*> models = {
    {0, "orin1"},     {1, "orin2"},     {2, "varlo"},   {3, "quenta"},       {4, "mirel"},   {10, "zephan"},
    {11, "korru"},    {12, "tessilon"}, {13, "abru"},   {14, "ferrow"},      {15, "lumina"}, {16, "grandelle"},
    {17, "ostrival"}, {18, "pemberly"}, {19, "wenlow"}, {21, "calder_vale"},
};

} // namespace

TEST(ZvModel, EveryModelHasItsCodeName) {
    for (const auto& [number, name] : models) {
        EXPECT_STREQ(name, get_model_name(number)) << number;
    }
}

TEST(ZvModel, AllOtherNumbersHaveNone) {
    for (int number = -300; number <= 300; ++number) {
        if (models.count(number) == 0) {
            EXPECT_EQ(nullptr, get_model_name(number)) << number;
        }
    }
    EXPECT_EQ(nullptr, get_model_name(20));
    EXPECT_EQ(nullptr, get_model_name(INT_MAX));
    EXPECT_EQ(nullptr, get_model_name(INT_MIN));
}

TEST(ZvModel, NumberThatClosesTheTableHasNone) {
    EXPECT_EQ(nullptr, get_model_name(-1));
}
