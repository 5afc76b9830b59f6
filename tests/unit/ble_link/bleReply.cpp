#include "bleReply.h"

#include "bleTest.h"

#include <cstdint>
#include <numeric>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Reply : public testing::Test {
protected:
    Reply() { g_logLevel = UTIL_LOG_INFO; }

    static int check(const Bytes& reply) {
        return ble_check_response(reply.data(), static_cast<std::uint16_t>(reply.size()));
    }
    // The data of a reply, copied to another place; the result is in result_.
    Bytes data(const Bytes& reply, std::uint16_t room = 1500) {
        Bytes place(room);
        length_ = room;
        result_ = ble_get_response_data(reply.data(), static_cast<std::uint16_t>(reply.size()), place.data(), &length_);
        place.resize(result_ == 0 ? length_ : 0);
        return place;
    }
    std::vector<std::string> logged() { return linesOf(log_); }

    // Both checks fail with these lines.
    void expectFailure(const Bytes& reply, const std::vector<std::string>& lines) {
        EXPECT_EQ(-1, check(reply));
        EXPECT_EQ(lines, logged());
        data(reply);
        EXPECT_EQ(-1, result_);
        EXPECT_EQ(1500, length_);
        EXPECT_EQ(lines, logged());
    }

    SyslogCapture log_;
    int result_ = 0;
    std::uint16_t length_ = 0;
};

} // namespace

TEST_F(Reply, StatusZeroAlone) {
    const Bytes reply = {0, 9, 0, 3, 0, 0, 1, 69, 0};
    EXPECT_EQ(0, check(reply));
    EXPECT_THAT(data(reply), IsEmpty());
    EXPECT_EQ(0, result_);
    EXPECT_EQ(0, length_);
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(Reply, DataBehindTheStatus) {
    const Bytes reply = {0, 12, 0, 3, 0, 0, 4, 69, 0, 0xAA, 0xBB, 0xCC};
    EXPECT_EQ(0, check(reply));
    EXPECT_THAT(data(reply), ElementsAre(0xAA, 0xBB, 0xCC));
    EXPECT_EQ(0, result_);
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(Reply, OtherElementsAreIgnored) {
    EXPECT_EQ(
        0, check(message(3, join({element(65, bytesOf("BL")), element(69, {0}), element(69, {1}), element(238, {})}))));
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(Reply, EveryOtherStatusFailsWithoutALine) {
    for (int status = 1; status < 256; ++status) {
        expectFailure(replyOf(static_cast<std::uint8_t>(status), {1}), {});
    }
}

TEST_F(Reply, EveryOtherCategoryFails) {
    for (int category = 0; category < 256; ++category) {
        if (category != 3) {
            expectFailure(
                message(static_cast<std::uint8_t>(category), element(69, {0})),
                {"Message from zvControlD was not CAT_CGI_BP_RSP, actual (" + std::to_string(category) + ")\n"});
        }
    }
}

TEST_F(Reply, WithoutAResponseElement) {
    const std::string line = "Expected a typeRSP element from daemon but got none\n";
    expectFailure({0, 4, 0, 3}, {line});
    expectFailure(message(3, element(66, {0})), {line});
}

TEST_F(Reply, EmptyResponseElement) {
    expectFailure({0, 8, 0, 3, 0, 0, 0, 69}, {"ERROR: typeRSP did not contain enough bytes for int8_t (got 0)\n"});
}

TEST_F(Reply, NothingAtAll) {
    expectFailure({}, {noReply});
    EXPECT_EQ(-1, ble_check_response(nullptr, 0));
    EXPECT_THAT(logged(), ElementsAre(noReply));
}

TEST_F(Reply, TruncatedAtEveryLength) {
    const Bytes whole = message(3, join({element(65, bytesOf("BL")), element(69, {0, 1, 2, 3, 4, 5, 6, 7}),
                                         element(66, Bytes(20, 9)), element(238, {})}));
    EXPECT_EQ(0, check(whole));
    for (std::size_t size = 0; size < whole.size(); ++size) {
        expectFailure(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)), {noReply});
    }
}

TEST_F(Reply, LengthsThatLieAreRefused) {
    const Bytes whole = replyOf(0, {1, 2, 3});
    for (const std::size_t place : {0U, 1U, 5U, 6U}) {
        for (int value = 0; value < 256; ++value) {
            Bytes lying = whole;
            lying[place] = static_cast<std::uint8_t>(value);
            if (lying != whole) {
                // A total of 4 is that of a message without elements, with something behind it.
                const bool headerAlone = place == 1 && value == 4;
                expectFailure(lying, {headerAlone ? "Expected a typeRSP element from daemon but got none\n" : noReply});
            }
        }
    }
}

TEST_F(Reply, RoomCountsTheStatusByteToo) {
    const Bytes reply = replyOf(0, Bytes(1499, 7));
    EXPECT_EQ(Bytes(1499, 7), data(reply, 1500));
    EXPECT_EQ(0, result_);
    EXPECT_EQ(1499, length_);

    data(reply, 1499);
    EXPECT_EQ(-1, result_);
    EXPECT_EQ(1499, length_);
    EXPECT_THAT(logged(), ElementsAre("Not enough buffer to hold data length:1500"));
}

TEST_F(Reply, RoomIsLookedAtBeforeTheStatus) {
    data(replyOf(1, {1, 2}), 2);
    EXPECT_EQ(-1, result_);
    EXPECT_THAT(logged(), ElementsAre("Not enough buffer to hold data length:3"));
    data(replyOf(0), 0);
    EXPECT_EQ(-1, result_);
    EXPECT_THAT(logged(), ElementsAre("Not enough buffer to hold data length:1"));
}

TEST_F(Reply, DataMayTakeTheReplysPlace) {
    Bytes content(1400);
    std::iota(content.begin(), content.end(), std::uint8_t{0});
    const Bytes reply = replyOf(0, content);
    Bytes place = reply;
    length_ = 1500;
    EXPECT_EQ(0, ble_get_response_data(place.data(), static_cast<std::uint16_t>(place.size()), place.data(), &length_));
    EXPECT_EQ(1400, length_);
    place.resize(length_);
    EXPECT_EQ(content, place);
}

TEST_F(Reply, IsTracedAtTheTraceLevelUnderTheSwitchOnly) {
    g_debug_level |= 0x100;
    check(replyOf(0));
    EXPECT_THAT(logged(), IsEmpty());
    g_logLevel = UTIL_LOG_TRACE;
    g_debug_level &= ~0x100U;
    check(replyOf(0));
    EXPECT_THAT(logged(), IsEmpty());
    g_debug_level |= 0x100;
    EXPECT_EQ(0, check(replyOf(0)));
    EXPECT_THAT(logged(), ElementsAre("UTIL_LOG_TRACE:message category 3, 9 bytes [69:1] 00 @zvCtrlD"));
    data(replyOf(0, {0xAB}));
    EXPECT_EQ(0, result_);
    EXPECT_THAT(logged(), ElementsAre("UTIL_LOG_TRACE:message category 3, 10 bytes [69:2] 00ab @zvCtrlD"));
}
