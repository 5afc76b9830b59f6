#include "hexText.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace zvcamera {
namespace {

TEST(HexText, HexIsLowerCaseAndReadInBothCases) {
    EXPECT_EQ("00af10", toHex(Bytes{0x00, 0xaf, 0x10}));
    EXPECT_EQ((Bytes{0x00, 0xaf, 0x10}), fromHex("00aF10"));
    EXPECT_THROW(fromHex("0"), std::invalid_argument);
    EXPECT_THROW(fromHex("0g"), std::invalid_argument);
    EXPECT_THROW(fromHex(" 1"), std::invalid_argument);
}

} // namespace
} // namespace zvcamera
