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

} // namespace
} // namespace zvcamera
