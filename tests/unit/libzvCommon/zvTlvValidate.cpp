#include "tlvOracle.h"
#include "tlvSample.h"
#include "zvTlv.h"

#include <cstdint>
#include <gtest/gtest.h>

using namespace zvtest;

namespace {

int verdict(Bytes message) {
    return tlv_validate(message.data());
}

} // namespace

TEST(ZvTlvValidate, WellFormedMessageIsValid) {
    EXPECT_EQ(0, verdict({sample.begin(), sample.end()}));
    EXPECT_EQ(0, verdict({0, 8, 0, 9, 0, 0, 0, 238}));
}

TEST(ZvTlvValidate, MessageWithoutEndMarkerIsInvalid) {
    EXPECT_EQ(-1, verdict({0, 4, 0, 1}));
    EXPECT_EQ(-1, verdict({0, 4, 0, 238})); // the type is no marker
    EXPECT_EQ(-1, verdict({0, 10, 0, 1, 0, 0, 2, 65, 1, 2}));
    // Data that look like a marker at the end.
    EXPECT_EQ(-1, verdict({0, 12, 0, 1, 0, 0, 4, 65, 0, 0, 0, 238}));
    EXPECT_EQ(-1, verdict({0, 9, 0, 1, 0, 0, 1, 65, 238}));
}

TEST(ZvTlvValidate, EarlierEndMarkerIsInvalid) {
    EXPECT_EQ(-1, verdict({0, 12, 0, 1, 0, 0, 0, 238, 0, 0, 0, 238}));
    EXPECT_EQ(-1, verdict({0, 9, 0, 1, 0, 0, 1, 238, 238})); // a marker with data
    EXPECT_EQ(-1, verdict({0, 8, 0, 1, 0, 0, 5, 238}));      // a marker whose data lie behind the end
}

TEST(ZvTlvValidate, NonsenseTotalsAreInvalid) {
    for (std::uint8_t total = 0; total < 8; ++total) {
        GuardedBuffer memory(8);
        EXPECT_EQ(-1, tlv_validate(memory.place({0, total, 0, 238, 0, 0, 0, 238}))) << int(total);
    }
    GuardedBuffer memory(4);
    EXPECT_EQ(-1, tlv_validate(memory.place({0x80, 0, 0, 238})));
    EXPECT_EQ(-1, tlv_validate(memory.place({0xFF, 0xFF, 0, 238})));
    EXPECT_EQ(nullptr, tlv_find(memory.data(), 0));
}

// The last byte looks like a marker, but no element has room between header and end: the lengths do not add up.
TEST(ZvTlvValidate, TotalsTooShortForAnElementAreUnbalanced) {
    for (const std::uint8_t type : {std::uint8_t{1}, std::uint8_t{2}}) {
        GuardedBuffer memory(8);
        EXPECT_EQ(-3, tlv_validate(memory.place({0, 5, 0, type, 238})));
        EXPECT_EQ(-3, tlv_validate(memory.place({0, 6, 0, type, 0, 238})));
        EXPECT_EQ(-3, tlv_validate(memory.place({0, 7, 0, type, 0, 0, 238})));
    }
}

TEST(ZvTlvValidate, MissingEndMarkerCountsBeforeUnbalancedLengths) {
    EXPECT_EQ(-1, verdict({0, 13, 0, 1, 0, 0, 9, 65, 1, 0, 0, 0, 0}));
    EXPECT_EQ(-1, verdict({0, 13, 0, 2, 0, 0, 9, 66, 1, 0, 0, 0, 237}));
    EXPECT_EQ(-1, verdict({0, 10, 0, 1, 0, 0, 0, 65, 0, 0}));
}

// Elements 65, 66 or 69, then the marker; the length of the last element before it is too large by one.
TEST(ZvTlvValidate, UnbalancedLengthsAreToldByTypePayloadAndResponse) {
    for (int type = 0; type < 256; ++type) {
        const bool answering =
            type == 1 || type == 3 || type == 5 || type == 7 || type == 9 || type == 11 || type == 13;
        const auto t = static_cast<std::uint8_t>(type);
        const Bytes neither = {0, 13, 0, t, 0, 0, 2, 65, 1, 0, 0, 0, 238};
        const Bytes payload = {0, 14, 0, t, 0, 0, 3, 66, 1, 2, 0, 0, 0, 238};
        const Bytes response = {0, 14, 0, t, 0, 0, 3, 69, 1, 2, 0, 0, 0, 238};
        const Bytes both = {0, 19, 0, t, 0, 0, 1, 66, 1, 0, 0, 3, 69, 1, 2, 0, 0, 0, 238};
        EXPECT_EQ(-3, verdict(neither)) << type;
        EXPECT_EQ(answering ? -3 : -2, verdict(payload)) << type;
        EXPECT_EQ(-3, verdict(response)) << type;
        EXPECT_EQ(answering ? -2 : -3, verdict(both)) << type;
    }
}

// As above, but other elements follow the one with the wrong length: the walk reads the next header one byte too far
// and finds a length that points far behind the end.
TEST(ZvTlvValidate, UnbalancedLengthsBeforeTheLastElementAreToldTheSameWay) {
    // The code, which has 2 bytes; destination; end marker.
    EXPECT_EQ(-3, verdict({0, 21, 0, 1, 0, 0, 3, 65, 'P', 'D', 0, 0, 3, 67, '/', 't', 'o', 0, 0, 0, 238}));
    EXPECT_EQ(-3, verdict({0, 21, 0, 2, 0, 0, 3, 65, 'P', 'D', 0, 0, 3, 67, '/', 't', 'o', 0, 0, 0, 238}));
    // A payload before them.
    EXPECT_EQ(
        -3, verdict({0, 26, 0, 1, 0, 0, 1, 66, 'x', 0, 0, 3, 65, 'P', 'D', 0, 0, 3, 67, '/', 't', 'o', 0, 0, 0, 238}));
    EXPECT_EQ(
        -2, verdict({0, 26, 0, 2, 0, 0, 1, 66, 'x', 0, 0, 3, 65, 'P', 'D', 0, 0, 3, 67, '/', 't', 'o', 0, 0, 0, 238}));
    // Payload and response before them.
    EXPECT_EQ(-2, verdict({0, 31, 0,   1,   0, 0, 1, 66, 'x', 0,   0,   1, 69, 'y', 0,  0,
                           3, 65, 'P', 'D', 0, 0, 3, 67, '/', 't', 'o', 0, 0,  0,   238}));
    EXPECT_EQ(-3, verdict({0, 31, 0,   2,   0, 0, 1, 66, 'x', 0,   0,   1, 69, 'y', 0,  0,
                           3, 65, 'P', 'D', 0, 0, 3, 67, '/', 't', 'o', 0, 0,  0,   238}));
    // The payload itself is wrong, so that the response behind it is not found.
    EXPECT_EQ(-3, verdict({0, 20, 0, 1, 0, 0, 3, 66, 1, 2, 0, 0, 2, 69, 3, 4, 0, 0, 0, 238}));
    EXPECT_EQ(-2, verdict({0, 20, 0, 2, 0, 0, 3, 66, 1, 2, 0, 0, 2, 69, 3, 4, 0, 0, 0, 238}));
}
