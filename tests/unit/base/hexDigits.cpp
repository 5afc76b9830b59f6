#include "hexDigits.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>

TEST(HexDigits, DigitsOfEitherCaseHaveTheirValues) {
    for (int value = 0; value < 16; ++value) {
        EXPECT_EQ(value, zv::hexDigitValue("0123456789abcdef"[value]));
        EXPECT_EQ(value, zv::hexDigitValue("0123456789ABCDEF"[value]));
    }
}

TEST(HexDigits, OtherCharactersHaveNone) {
    const std::string digits = "0123456789abcdefABCDEF";
    for (int code = 0; code < 256; ++code) {
        const char character = static_cast<char>(code);
        if (digits.find(character) == std::string::npos) {
            EXPECT_EQ(-1, zv::hexDigitValue(character)) << code;
        }
    }
}

TEST(HexDigits, BytesAreAppendedAsTwoLowerCaseDigits) {
    std::string text = "-";
    constexpr std::uint8_t bytes[] = {0x00, 0x0A, 0xA0, 0x9F, 0xFF};
    for (const std::uint8_t byte : bytes) {
        zv::appendHex(text, byte);
    }
    EXPECT_EQ("-000aa09fff", text);
}
