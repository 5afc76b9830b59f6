#include "faults.h"

#include "spoiltReply.h"

#include <gtest/gtest.h>

namespace zvcamera {
namespace {

TEST(Faults, WithoutRulesAReplyIsWhole) {
    FaultTable table;
    const Outgoing out = spoil(table, status(), {2});
    EXPECT_EQ(plainStatus, out.bytes);
    EXPECT_EQ(0, out.delay.count());
    EXPECT_FALSE(out.missing);
    EXPECT_EQ("", out.faults);
}

TEST(Faults, ARuleHitsTheNextRepliesAfterThoseThatPass) {
    FaultTable table;
    table.add(rule({{"command", "pair_status"}, {"fault", "missing"}, {"count", 2}, {"skip", 1}}));
    std::string seen;
    for (int i = 0; i < 5; ++i) {
        seen += spoil(table, status(), {2}).missing ? 'x' : '.';
        EXPECT_FALSE(spoil(table, {"config_get", {10}}, {1}).missing);
    }
    EXPECT_EQ(".xx..", seen);
    EXPECT_EQ(Json::array(), table.toJson());
}

TEST(Faults, SeveralRulesHitOneReply) {
    FaultTable table;
    table.add(rule({{"command", "*"}, {"fault", "late"}, {"ms", 5}}));
    table.add(rule({{"command", "*"}, {"fault", "category"}, {"category", 9}}));
    const Outgoing out = spoil(table, status(), {2});
    EXPECT_EQ(5, out.delay.count());
    EXPECT_EQ(9, out.bytes[3]);
    EXPECT_EQ("late category", out.faults);
}

TEST(Faults, RulesAreListedAndRemovedById) {
    FaultTable table;
    const std::uint64_t first = table.add(rule({{"command", "PD"}, {"fault", "missing"}}));
    table.add(rule({{"command", 1}, {"fault", "late"}, {"ms", 7}, {"count", 3}}));
    EXPECT_EQ(
        (Json{{"id", 2}, {"command", "scan"}, {"fault", "late"}, {"ms", 7}, {"left", 3}, {"skip", 0}, {"hits", 0}}),
        table.toJson()[1]);
    EXPECT_TRUE(table.remove(first));
    EXPECT_FALSE(table.remove(first));
    table.clear();
    EXPECT_TRUE(table.toJson().empty());
}

} // namespace
} // namespace zvcamera
