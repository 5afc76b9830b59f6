#include "faults.h"

#include "spoiltReply.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>

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

TEST(Faults, ARuleHitsWithItsProbabilityTheSameForTheSameSeed) {
    const auto seen = [](std::uint64_t seed, double probability) {
        FaultTable table;
        table.setSeed(seed);
        table.add(rule({{"command", "*"}, {"fault", "missing"}, {"probability", probability}}));
        std::string pattern;
        for (int i = 0; i < 1000; ++i) {
            pattern += spoil(table, status(), {2}).missing ? 'x' : '.';
        }
        return pattern;
    };
    const std::string half = seen(1, 0.5);
    EXPECT_NEAR(500, static_cast<double>(std::count(half.begin(), half.end(), 'x')), 60);
    EXPECT_EQ(half, seen(1, 0.5));
    EXPECT_NE(half, seen(2, 0.5));
    EXPECT_EQ(std::string(1000, '.'), seen(1, 0));
    EXPECT_EQ(std::string(1000, 'x'), seen(1, 1));
}

TEST(Faults, OnlyHitsAreCountedDown) {
    FaultTable table;
    table.add(rule({{"command", "*"}, {"fault", "missing"}, {"probability", 0.1}, {"count", 3}, {"skip", 5}}));
    int hits = 0;
    for (int i = 0; i < 5; ++i) {
        EXPECT_FALSE(spoil(table, status(), {2}).missing);
    }
    for (int i = 0; i < 1000; ++i) {
        hits += spoil(table, status(), {2}).missing ? 1 : 0;
    }
    EXPECT_EQ(3, hits);
    EXPECT_TRUE(table.toJson().empty());
}

TEST(Faults, TheListTellsWhatRulesDraw) {
    FaultTable table;
    table.add(rule({{"command", "*"}, {"fault", "late"}, {"ms", 5}, {"max_ms", 9}, {"probability", 0.25}}));
    table.add(rule({{"command", "*"}, {"fault", "reply"}, {"hex", "0A"}}));
    EXPECT_EQ((Json{{"id", 1},
                    {"command", "*"},
                    {"fault", "late"},
                    {"ms", 5},
                    {"max_ms", 9},
                    {"probability", 0.25},
                    {"left", "all"},
                    {"skip", 0},
                    {"hits", 0}}),
              table.toJson()[0]);
    EXPECT_EQ("0a", table.toJson()[1].at("hex"));
}

TEST(Faults, MoreRulesThanTheLimitAreRefused) {
    FaultTable table;
    for (std::size_t i = 0; i < FaultTable::ruleLimit; ++i) {
        table.add(rule({{"command", "*"}, {"fault", "missing"}}));
    }
    EXPECT_THROW(table.add(rule({{"command", "*"}, {"fault", "missing"}})), Refusal);
}

} // namespace
} // namespace zvcamera
