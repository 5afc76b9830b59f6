#include "scenario.h"

#include <fstream>
#include <gtest/gtest.h>

namespace zvcam {
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
    EXPECT_EQ(scenario.part("ble"), (Json{{"seed", 3}}));
    EXPECT_EQ(scenario.part("faults"), Json::array({1}));
    EXPECT_EQ(scenario.part("identity"), Json::object());
    EXPECT_EQ(Scenario().part("faults"), Json::array());
}

TEST(Scenario, SaysWhatIsWrongWithTheFile) {
    EXPECT_EQ(errorOf(R"({"bel":{}})"), "bel: unknown key");
    EXPECT_EQ(errorOf(R"({"ble":[]})"), "ble: must be an object");
    EXPECT_EQ(errorOf(R"({"faults":{}})"), "faults: must be an array");
    EXPECT_EQ(errorOf("[]"), "the document: must be an object");
    EXPECT_NE(errorOf("{"), "");
    EXPECT_THROW(Scenario::load("/nonexistent/file"), JsonError);
    EXPECT_EQ(errorOf(std::string((std::size_t{4} << 20) + 1, ' ')), "larger than a scenario may be");
}

TEST(Scenario, IsNestedNoDeeperThanTheLimit) {
    const auto nested = [](std::size_t depth) { // the file's own braces are one level
        return "{\"faults\":" + std::string(depth - 1, '[') + std::string(depth - 1, ']') + "}";
    };
    EXPECT_EQ(errorOf(nested(16)), "");
    EXPECT_EQ(errorOf(nested(17)), "nested deeper than 16");
    EXPECT_EQ(errorOf(nested(1000000)), "nested deeper than 16");
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
    EXPECT_EQ(a, 5);
    EXPECT_EQ(b, 9);
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
    EXPECT_EQ(errors, "top.list[0].x: must be a whole number from 0 to 9|top.list[1].y: unknown key|");
}

TEST(JsonReader, RefusesNumbersOutsideAllRanges) {
    const Json json = Json::parse(R"({"big":18446744073709551615,"neg":-1,"text":"1"})");
    JsonReader reader(json, "");
    std::uint8_t value = 7;
    for (const char* key : {"big", "neg", "text"}) {
        EXPECT_THROW(reader.number(key, value, 0, 255), JsonError) << key;
    }
    EXPECT_EQ(value, 7);
}

} // namespace
} // namespace zvcam
