#include "faultRule.h"

#include "spoiltReply.h"

#include <gtest/gtest.h>
#include <string>

namespace zvcamera {
namespace {

std::string errorOf(Json json) {
    try {
        rule(std::move(json));
    } catch (const JsonError& error) {
        return error.what();
    }
    return "";
}

TEST(FaultRule, AWrongRuleIsNamed) {
    EXPECT_EQ("faults[0].command: missing", errorOf({{"fault", "late"}}));
    EXPECT_EQ("faults[0].command: no such command: scam", errorOf({{"command", "scam"}, {"fault", "late"}}));
    EXPECT_EQ("faults[0].command: no such command: 5", errorOf({{"command", 5}, {"fault", "late"}}));
    EXPECT_EQ("faults[0].fault: missing", errorOf({{"command", "scan"}}));
    EXPECT_EQ("faults[0].fault: no such fault: slow", errorOf({{"command", "scan"}, {"fault", "slow"}}));
    EXPECT_EQ("faults[0].command: scan does not answer pages, which index spoils",
              errorOf({{"command", "scan"}, {"fault", "index"}}));
    EXPECT_EQ("faults[0].ms: unknown key", errorOf({{"command", "scan"}, {"fault", "missing"}, {"ms", 1}}));
    EXPECT_EQ("faults[0].status: must be a whole number from 1 to 255",
              errorOf({{"command", "scan"}, {"fault", "refused"}, {"status", 0}}));
}

TEST(FaultRule, AWrongValueIsNamed) {
    EXPECT_EQ("faults[0].hex: missing", errorOf({{"command", "scan"}, {"fault", "reply"}}));
    EXPECT_EQ("faults[0].hex: must be a text", errorOf({{"command", "scan"}, {"fault", "reply"}, {"hex", 12}}));
    EXPECT_EQ("faults[0].hex: odd number of hexadecimal digits",
              errorOf({{"command", "scan"}, {"fault", "reply"}, {"hex", "123"}}));
    EXPECT_EQ("faults[0].hex: not a hexadecimal text: 1g",
              errorOf({{"command", "scan"}, {"fault", "reply"}, {"hex", "1g"}}));
    EXPECT_EQ("faults[0].hex: must be at most 2048 bytes",
              errorOf({{"command", "scan"}, {"fault", "reply"}, {"hex", std::string(4098, '0')}}));
    EXPECT_EQ("faults[0].max_ms: must be a whole number from 100 to 600000",
              errorOf({{"command", "scan"}, {"fault", "late"}, {"ms", 100}, {"max_ms", 99}}));
    EXPECT_EQ("faults[0].max_ms: unknown key", errorOf({{"command", "scan"}, {"fault", "missing"}, {"max_ms", 1}}));
    for (const Json& wrong : {Json(1.1), Json(-0.1), Json("0.5"), Json(true)}) {
        EXPECT_EQ("faults[0].probability: must be a number from 0 to 1",
                  errorOf({{"command", "scan"}, {"fault", "missing"}, {"probability", wrong}}));
    }
}

TEST(FaultRule, RulesForPathsAreNotForDaemons) {
    const Json rules = Json::array(
        {{{"command", "/command/ble/scan"}, {"fault", "status"}}, {{"command", "scan"}, {"fault", "missing"}}});
    const std::vector<FaultRule> read = readFaultRules(rules);
    ASSERT_EQ(1U, read.size());
    EXPECT_EQ("scan", read[0].command);
    EXPECT_THROW(readFaultRules(Json::array({1})), JsonError);
}

} // namespace
} // namespace zvcamera
