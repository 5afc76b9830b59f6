#include "faults.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace zvcamera {
namespace {

FaultRule rule(Json json) {
    return readFaultRule(json, "faults[0]");
}

std::string errorOf(Json json) {
    try {
        rule(std::move(json));
    } catch (const JsonError& error) {
        return error.what();
    }
    return "";
}

RequestInfo status() {
    return {"pair_status", {9}};
}
RequestInfo page(std::uint8_t start, std::uint8_t maximum) {
    return {"whitelist_list", {6, start, maximum}};
}

// The reply of status 0 with these data after the table's faults.
Outgoing spoil(FaultTable& table, const RequestInfo& request, const Bytes& data) {
    return applyFaults(table.plan(request), request, Status::Ok, data);
}
Outgoing spoil(Json json, const RequestInfo& request, const Bytes& data) {
    FaultTable table;
    table.add(rule(std::move(json)));
    return spoil(table, request, data);
}

const Bytes plainStatus{0, 14, 0, 3, 0, 0, 2, 0x45, 0, 2, 0, 0, 0, 0xee};

TEST(Faults, WithoutRulesAReplyIsWhole) {
    FaultTable table;
    const Outgoing out = spoil(table, status(), {2});
    EXPECT_EQ(plainStatus, out.bytes);
    EXPECT_EQ(0, out.delay.count());
    EXPECT_FALSE(out.missing);
    EXPECT_EQ("", out.faults);
}

TEST(Faults, LateOnlyDelays) {
    const Outgoing out = spoil({{"command", "pair_status"}, {"fault", "late"}, {"ms", 250}}, status(), {2});
    EXPECT_EQ(plainStatus, out.bytes);
    EXPECT_EQ(250, out.delay.count());
    EXPECT_EQ("late", out.faults);
}

TEST(Faults, MissingIsNotSent) {
    EXPECT_TRUE(spoil({{"command", 9}, {"fault", "missing"}}, status(), {2}).missing);
}

TEST(Faults, RefusedCarriesItsStatusAndNoData) {
    FaultTable table;
    table.add(rule({{"command", "pair_status"}, {"fault", "refused"}, {"status", 7}}));
    const PlannedFaults planned = table.plan(status());
    EXPECT_TRUE(planned.refused());
    EXPECT_EQ((Bytes{0, 13, 0, 3, 0, 0, 1, 0x45, 7, 0, 0, 0, 0xee}),
              applyFaults(planned, status(), Status::Ok, {2}).bytes);
}

TEST(Faults, WrongCategory) {
    Bytes expected = plainStatus;
    expected[3] = 20;
    EXPECT_EQ(expected, spoil({{"command", "9"}, {"fault", "category"}, {"category", 20}}, status(), {2}).bytes);
}

TEST(Faults, WithoutTheResponseElementOnlyTheTailIsLeft) {
    EXPECT_EQ((Bytes{0, 8, 0, 3, 0, 0, 0, 0xee}),
              spoil({{"command", "*"}, {"fault", "no_response"}}, status(), {2}).bytes);
}

TEST(Faults, TruncatedKeepsTheHeadersAsTheyWere) {
    EXPECT_EQ((Bytes{0, 14, 0, 3, 0, 0, 2, 0x45, 0}),
              spoil({{"command", "*"}, {"fault", "truncated"}, {"bytes", 9}}, status(), {2}).bytes);
    EXPECT_EQ(Bytes{}, spoil({{"command", "*"}, {"fault", "truncated"}, {"bytes", 0}}, status(), {2}).bytes);
    EXPECT_EQ(plainStatus, spoil({{"command", "*"}, {"fault", "truncated"}, {"bytes", 99}}, status(), {2}).bytes);
}

TEST(Faults, ShortDataMakeAConsistentMessage) {
    EXPECT_EQ((Bytes{0, 16, 0, 3, 0, 0, 4, 0x45, 0, 1, 2, 0, 0, 0, 0, 0xee}),
              spoil({{"command", "*"}, {"fault", "short"}, {"bytes", 3}}, page(0, 255), {1, 2, 0, 2, 9, 9}).bytes);
}

TEST(Faults, ExtraBytesFollowTheMessage) {
    const Outgoing out = spoil({{"command", "*"}, {"fault", "extra"}, {"bytes", 3}}, status(), {2});
    ASSERT_EQ(plainStatus.size() + 3, out.bytes.size());
    EXPECT_TRUE(std::equal(plainStatus.begin(), plainStatus.end(), out.bytes.begin()));
}

TEST(Faults, GarbageReplacesTheMessage) {
    const Outgoing out = spoil({{"command", "*"}, {"fault", "garbage"}, {"bytes", 20}}, status(), {2});
    EXPECT_EQ(20U, out.bytes.size());
    EXPECT_NE("", decodeMessage(out.bytes).problem);
}

TEST(Faults, APagesIndexMoves) {
    const Outgoing out = spoil({{"command", "6"}, {"fault", "index"}, {"by", -2}}, page(5, 255), {1, 5, 5, 0});
    EXPECT_EQ((Bytes{0, 17, 0, 3, 0, 0, 5, 0x45, 0, 1, 5, 3, 0, 0, 0, 0, 0xee}), out.bytes);
}

TEST(Faults, TooManyEntriesComeWithTheirBytes) {
    const Outgoing out = spoil({{"command", "whitelist_list"}, {"fault", "too_many"}}, page(0, 2), {1, 2, 0, 0});
    const DecodedMessage decoded = decodeMessage(out.bytes);
    const Bytes& data = decoded.message.find(69)->data;
    EXPECT_EQ(3, data[1 + 3]);
    EXPECT_EQ(1U + 4 + 3 * 41, data.size());
}

TEST(Faults, ACountAboveWhatFitsStaysWithinAMessage) {
    const Outgoing out =
        spoil({{"command", "whitelist_list"}, {"fault", "too_many"}, {"by", 200}}, page(0, 100), {1, 2, 0, 0});
    EXPECT_LE(out.bytes.size(), 1500U);
    EXPECT_EQ(255, decodeMessage(out.bytes).message.find(69)->data[4]);
}

TEST(Faults, TooManyWaitsForARequestThatItCanExceed) {
    FaultTable table;
    table.add(rule({{"command", "whitelist_list"}, {"fault", "too_many"}, {"count", 1}}));
    EXPECT_EQ("", spoil(table, page(0, 255), {1, 0, 0, 0}).faults);
    EXPECT_EQ("too_many", spoil(table, page(0, 254), {1, 0, 0, 0}).faults);
}

TEST(Faults, AListIsRebuiltBeforeAPageThatDoesNotBeginAtZero) {
    FaultTable table;
    table.add(rule({{"command", "whitelist_list"}, {"fault", "list_id"}, {"count", 1}}));
    EXPECT_EQ(0, table.plan(page(0, 255)).idShift); // a first page has nothing to differ from
    EXPECT_EQ(1, table.plan(page(4, 255)).idShift);
    EXPECT_EQ(0, table.plan(page(4, 255)).idShift); // what it did to the list is the list's
    table.add(rule({{"command", "*"}, {"fault", "list_id"}, {"by", 200}, {"count", 1}}));
    table.add(rule({{"command", "*"}, {"fault", "list_id"}, {"by", 100}, {"count", 1}}));
    EXPECT_EQ(44, table.plan(page(4, 255)).idShift); // 8 bits
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

TEST(Faults, AWrongRuleIsNamed) {
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
