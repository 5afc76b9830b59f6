#include "scenario.h"

#include <fstream>
#include <gtest/gtest.h>

namespace zvcamera {
namespace {

std::string fileOf(const std::string& text) {
    const std::string path = testing::TempDir() + "scenario.json";
    std::ofstream(path) << text;
    return path;
}

std::string errorOf(const std::string& text) {
    try {
        Scenario::load(fileOf(text));
    } catch (const JsonError& error) {
        const std::string full = error.what();
        return full.substr(full.find("scenario.json: ") + 15);
    }
    return "";
}

TEST(Scenario, GivesEachPartAndEmptyOnesForTheRest) {
    const Scenario scenario = Scenario::load(fileOf(R"({"description":"x","ble":{"seed":3},"faults":[1]})"));
    EXPECT_EQ((Json{{"seed", 3}}), scenario.part("ble"));
    EXPECT_EQ(Json::array({1}), scenario.part("faults"));
    EXPECT_EQ(Json::object(), scenario.part("identity"));
    EXPECT_EQ(Json::array(), Scenario().part("faults"));
}

TEST(Scenario, SaysWhatIsWrongWithTheFile) {
    EXPECT_EQ("bel: unknown key", errorOf(R"({"bel":{}})"));
    EXPECT_EQ("ble: must be an object", errorOf(R"({"ble":[]})"));
    EXPECT_EQ("faults: must be an array", errorOf(R"({"faults":{}})"));
    EXPECT_EQ("the document: must be an object", errorOf("[]"));
    EXPECT_NE("", errorOf("{"));
    EXPECT_THROW(Scenario::load("/nonexistent/file"), JsonError);
    EXPECT_EQ("larger than a scenario may be", errorOf(std::string((std::size_t{4} << 20) + 1, ' ')));
}

TEST(Scenario, IsNestedNoDeeperThanTheLimit) {
    const auto nested = [](std::size_t depth) { // the file's own braces are one level
        return "{\"faults\":" + std::string(depth - 1, '[') + std::string(depth - 1, ']') + "}";
    };
    EXPECT_EQ("", errorOf(nested(16)));
    EXPECT_EQ("nested deeper than 16", errorOf(nested(17)));
    EXPECT_EQ("nested deeper than 16", errorOf(nested(1000000)));
}

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

} // namespace
} // namespace zvcamera
