#include "faultKinds.h"

#include "spoiltReply.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <set>
#include <string>

namespace zvcamera {
namespace {

TEST(FaultKinds, LateOnlyDelays) {
    const Outgoing out = spoil({{"command", "pair_status"}, {"fault", "late"}, {"ms", 250}}, status(), {2});
    EXPECT_EQ(plainStatus, out.bytes);
    EXPECT_EQ(250, out.delay.count());
    EXPECT_EQ("late", out.faults);
}

TEST(FaultKinds, MissingIsNotSent) {
    EXPECT_TRUE(spoil({{"command", 9}, {"fault", "missing"}}, status(), {2}).missing);
}

TEST(FaultKinds, RefusedCarriesItsStatusAndNoData) {
    FaultTable table;
    table.add(rule({{"command", "pair_status"}, {"fault", "refused"}, {"status", 7}}));
    const PlannedFaults planned = table.plan(status());
    EXPECT_TRUE(planned.refused());
    EXPECT_EQ((Bytes{0, 13, 0, 3, 0, 0, 1, 0x45, 7, 0, 0, 0, 0xee}),
              applyFaults(planned, status(), Status::Ok, {2}).bytes);
}

TEST(FaultKinds, WrongCategory) {
    Bytes expected = plainStatus;
    expected[3] = 20;
    EXPECT_EQ(expected, spoil({{"command", "9"}, {"fault", "category"}, {"category", 20}}, status(), {2}).bytes);
}

TEST(FaultKinds, WithoutTheResponseElementOnlyTheTailIsLeft) {
    EXPECT_EQ((Bytes{0, 8, 0, 3, 0, 0, 0, 0xee}),
              spoil({{"command", "*"}, {"fault", "no_response"}}, status(), {2}).bytes);
}

TEST(FaultKinds, TruncatedKeepsTheHeadersAsTheyWere) {
    EXPECT_EQ((Bytes{0, 14, 0, 3, 0, 0, 2, 0x45, 0}),
              spoil({{"command", "*"}, {"fault", "truncated"}, {"bytes", 9}}, status(), {2}).bytes);
    EXPECT_EQ(Bytes{}, spoil({{"command", "*"}, {"fault", "truncated"}, {"bytes", 0}}, status(), {2}).bytes);
    EXPECT_EQ(plainStatus, spoil({{"command", "*"}, {"fault", "truncated"}, {"bytes", 99}}, status(), {2}).bytes);
}

TEST(FaultKinds, ShortDataMakeAConsistentMessage) {
    EXPECT_EQ((Bytes{0, 16, 0, 3, 0, 0, 4, 0x45, 0, 1, 2, 0, 0, 0, 0, 0xee}),
              spoil({{"command", "*"}, {"fault", "short"}, {"bytes", 3}}, page(0, 255), {1, 2, 0, 2, 9, 9}).bytes);
}

TEST(FaultKinds, ExtraBytesFollowTheMessage) {
    const Outgoing out = spoil({{"command", "*"}, {"fault", "extra"}, {"bytes", 3}}, status(), {2});
    ASSERT_EQ(plainStatus.size() + 3, out.bytes.size());
    EXPECT_TRUE(std::equal(plainStatus.begin(), plainStatus.end(), out.bytes.begin()));
}

TEST(FaultKinds, GarbageReplacesTheMessage) {
    const Outgoing out = spoil({{"command", "*"}, {"fault", "garbage"}, {"bytes", 20}}, status(), {2});
    EXPECT_EQ(20U, out.bytes.size());
    EXPECT_NE("", decodeMessage(out.bytes).problem);
}

TEST(FaultKinds, APagesIndexMoves) {
    const Outgoing out = spoil({{"command", "6"}, {"fault", "index"}, {"by", -2}}, page(5, 255), {1, 5, 5, 0});
    EXPECT_EQ((Bytes{0, 17, 0, 3, 0, 0, 5, 0x45, 0, 1, 5, 3, 0, 0, 0, 0, 0xee}), out.bytes);
}

TEST(FaultKinds, TooManyEntriesComeWithTheirBytes) {
    const Outgoing out = spoil({{"command", "whitelist_list"}, {"fault", "too_many"}}, page(0, 2), {1, 2, 0, 0});
    const DecodedMessage decoded = decodeMessage(out.bytes);
    const Bytes& data = decoded.message.find(69)->data;
    EXPECT_EQ(3, data[1 + 3]);
    EXPECT_EQ(1U + 4 + 3 * 41, data.size());
}

TEST(FaultKinds, ACountAboveWhatFitsStaysWithinAMessage) {
    const Outgoing out =
        spoil({{"command", "whitelist_list"}, {"fault", "too_many"}, {"by", 200}}, page(0, 100), {1, 2, 0, 0});
    EXPECT_LE(out.bytes.size(), 1500U);
    EXPECT_EQ(255, decodeMessage(out.bytes).message.find(69)->data[4]);
}

TEST(FaultKinds, TooManyWaitsForARequestThatItCanExceed) {
    FaultTable table;
    table.add(rule({{"command", "whitelist_list"}, {"fault", "too_many"}, {"count", 1}}));
    EXPECT_EQ("", spoil(table, page(0, 255), {1, 0, 0, 0}).faults);
    EXPECT_EQ("too_many", spoil(table, page(0, 254), {1, 0, 0, 0}).faults);
}

TEST(FaultKinds, AListIsRebuiltBeforeAPageThatDoesNotBeginAtZero) {
    FaultTable table;
    table.add(rule({{"command", "whitelist_list"}, {"fault", "list_id"}, {"count", 1}}));
    EXPECT_EQ(0, table.plan(page(0, 255)).idShift); // a first page has nothing to differ from
    EXPECT_EQ(1, table.plan(page(4, 255)).idShift);
    EXPECT_EQ(0, table.plan(page(4, 255)).idShift); // what it did to the list is the list's
    table.add(rule({{"command", "*"}, {"fault", "list_id"}, {"by", 200}, {"count", 1}}));
    table.add(rule({{"command", "*"}, {"fault", "list_id"}, {"by", 100}, {"count", 1}}));
    EXPECT_EQ(44, table.plan(page(4, 255)).idShift); // 8 bits
}

TEST(FaultKinds, AReplyGivenInBytesReplacesTheMessage) {
    EXPECT_EQ((Bytes{0x00, 0x0d, 0xff}),
              spoil({{"command", "*"}, {"fault", "reply"}, {"hex", "000DfF"}}, status(), {2}).bytes);
    const Outgoing empty = spoil({{"command", "*"}, {"fault", "reply"}, {"hex", ""}}, status(), {2});
    EXPECT_EQ(Bytes{}, empty.bytes);
    EXPECT_FALSE(empty.missing); // sent, with no bytes
    EXPECT_EQ(
        2048U,
        spoil({{"command", "*"}, {"fault", "reply"}, {"hex", std::string(4096, 'a')}}, status(), {}).bytes.size());
}

TEST(FaultKinds, FaultsBehindAGivenReplyWorkOnItsBytes) {
    FaultTable table;
    table.add(rule({{"command", "*"}, {"fault", "reply"}, {"hex", "01020304"}}));
    table.add(rule({{"command", "*"}, {"fault", "truncated"}, {"bytes", 3}}));
    EXPECT_EQ((Bytes{1, 2, 3}), spoil(table, status(), {2}).bytes);
}

TEST(FaultKinds, LateBetweenTwoTimesDrawsForEachReply) {
    FaultTable table;
    table.add(rule({{"command", "*"}, {"fault", "late"}, {"ms", 100}, {"max_ms", 103}}));
    std::set<std::int64_t> seen;
    for (int i = 0; i < 200; ++i) {
        seen.insert(spoil(table, status(), {2}).delay.count());
    }
    EXPECT_EQ((std::set<std::int64_t>{100, 101, 102, 103}), seen);
}

} // namespace
} // namespace zvcamera
