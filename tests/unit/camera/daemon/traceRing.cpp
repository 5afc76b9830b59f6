#include "traceRing.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace zvcamera {
namespace {

TEST(TraceRing, KeepsTheNewestWithinItsBounds) {
    TraceRing ring("zvNetD");
    for (std::size_t i = 0; i < TraceRing::recordLimit + 5; ++i) {
        ring.add({});
    }
    EXPECT_EQ(TraceRing::recordLimit, ring.size());
    EXPECT_EQ(6, ring.since(0)[0].at("number"));
    EXPECT_EQ(1U, ring.since(TraceRing::recordLimit + 4).size());
    TraceRecord big;
    big.bytes = Bytes(TraceRing::byteLimit / 2);
    for (int i = 0; i < 4; ++i) {
        ring.add(big);
    }
    EXPECT_EQ(2U, ring.size());
}

} // namespace
} // namespace zvcamera
