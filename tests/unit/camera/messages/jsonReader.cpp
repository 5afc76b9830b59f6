#include "jsonReader.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace zvcamera {
namespace {

TEST(JsonReader, ReadsWithinRangesAndLeavesWhatIsAbsent) {
    const Json json{{"a", 5}, {"t", "x"}, {"f", 1}};
    JsonReader reader(json, "part");
    int a = 0;
    int b = 9;
    std::string t;
    bool f = false;
    EXPECT_TRUE(reader.number("a", a, 0, 5));
    EXPECT_FALSE(reader.number("b", b, 0, 5));
    EXPECT_TRUE(reader.text("t", t));
    EXPECT_TRUE(reader.flag("f", f));
    reader.finish();
    EXPECT_EQ(5, a);
    EXPECT_EQ(9, b);
    EXPECT_TRUE(f);
}

TEST(JsonReader, NamesThePlaceOfAnError) {
    const Json json{{"list", {{{"x", 1.5}}, {{"x", 1}, {"y", 2}}}}};
    JsonReader reader(json, "top");
    std::string errors;
    reader.array("list", [&](const Json& item, const std::string& where) {
        try {
            JsonReader one(item, where);
            int x = 0;
            one.number("x", x, 0, 9);
            one.finish();
        } catch (const JsonError& error) {
            errors += std::string(error.what()) + "|";
        }
    });
    EXPECT_EQ("top.list[0].x: must be a whole number from 0 to 9|top.list[1].y: unknown key|", errors);
}

TEST(JsonReader, RefusesNumbersOutsideAllRanges) {
    const Json json = Json::parse(R"({"big":18446744073709551615,"neg":-1,"text":"1"})");
    JsonReader reader(json, "");
    std::uint8_t value = 7;
    for (const char* key : {"big", "neg", "text"}) {
        EXPECT_THROW(reader.number(key, value, 0, 255), JsonError) << key;
    }
    EXPECT_EQ(7, value);
}

TEST(JsonReader, AFractionIsFromZeroToOne) {
    const Json json{{"a", 0.25}, {"b", 1}, {"c", 1.01}, {"d", "0.5"}};
    JsonReader reader(json, "top");
    double value = 9;
    EXPECT_TRUE(reader.fraction("a", value));
    EXPECT_EQ(0.25, value);
    EXPECT_TRUE(reader.fraction("b", value));
    EXPECT_EQ(1, value);
    EXPECT_FALSE(reader.fraction("x", value));
    EXPECT_THROW(reader.fraction("c", value), JsonError);
    EXPECT_THROW(reader.fraction("d", value), JsonError);
}

TEST(JsonReader, AnErrorOfTheParserIsToldWithoutItsClass) {
    try {
        parseJson("{");
        FAIL();
    } catch (const Json::exception& error) {
        EXPECT_EQ(0U, plainText(error).rfind("parse error at line 1, column 2", 0)) << plainText(error);
    }
    EXPECT_EQ("[json.exception", plainText(std::runtime_error("[json.exception")));
}

TEST(JsonReader, FlagsAreTrueFalse1Or0AndNothingElse) {
    const Json json = Json::parse(R"({"yes":true,"no":false,"one":1,"zero":0,"two":2,"part":1.5,"text":"true"})");
    JsonReader reader(json, "");
    bool value = false;
    for (const auto& [key, expected] : {std::pair{"yes", true}, {"no", false}, {"one", true}, {"zero", false}}) {
        EXPECT_TRUE(reader.flag(key, value));
        EXPECT_EQ(expected, value) << key;
    }
    for (const char* key : {"two", "part", "text"}) {
        EXPECT_THROW(reader.flag(key, value), JsonError) << key;
    }
}

TEST(JsonReader, AnArrayIsNothingElse) {
    const Json json{{"list", 5}};
    JsonReader reader(json, "");
    EXPECT_THROW(reader.array("list", [](const Json&, const std::string&) {}), JsonError);
}

} // namespace
} // namespace zvcamera
