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

TEST(Scenario, GivesItsSeedOrOne) {
    EXPECT_EQ(7U, Scenario::load(fileOf(R"({"ble":{"seed":7}})")).seed());
    for (const char* text : {"{}", R"({"ble":{}})", R"({"ble":{"seed":-1}})", R"({"ble":{"seed":"x"}})"}) {
        EXPECT_EQ(1U, Scenario::load(fileOf(text)).seed()) << text;
    }
}

} // namespace
} // namespace zvcamera
