#include "deviceAddress.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <vector>

using testing::ElementsAre;

namespace {

std::vector<int> parsed(const std::string& text) {
    std::uint8_t address[bleAddressSize] = {0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE};
    EXPECT_EQ(0, parse_device_address(text, address)) << text;
    return {address, address + bleAddressSize};
}

void expectRefused(const std::string& text) {
    std::uint8_t address[bleAddressSize] = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(-3, parse_device_address(text, address)) << text;
    EXPECT_THAT(address, ElementsAre(1, 2, 3, 4, 5, 6)) << text;
}

} // namespace

TEST(DeviceAddress, TwelveDigitsAreStoredLastOctetFirst) {
    EXPECT_THAT(parsed("A1B2C3D4E5F6"), ElementsAre(0xF6, 0xE5, 0xD4, 0xC3, 0xB2, 0xA1));
    EXPECT_THAT(parsed("a1b2c3d4e5f6"), ElementsAre(0xF6, 0xE5, 0xD4, 0xC3, 0xB2, 0xA1));
    EXPECT_THAT(parsed("0123456789ab"), ElementsAre(0xAB, 0x89, 0x67, 0x45, 0x23, 0x01));
}

TEST(DeviceAddress, ShortTextsAreFilledWithZeros) {
    EXPECT_THAT(parsed("1"), ElementsAre(1, 0, 0, 0, 0, 0));
    EXPECT_THAT(parsed("abc"), ElementsAre(0xBC, 0x0A, 0, 0, 0, 0));
    EXPECT_THAT(parsed("1B2C3D4E5F6"), ElementsAre(0xF6, 0xE5, 0xD4, 0xC3, 0xB2, 0x01));
}

TEST(DeviceAddress, LongTextsLoseTheirFirstCharacters) {
    EXPECT_THAT(parsed("99A1B2C3D4E5F6"), ElementsAre(0xF6, 0xE5, 0xD4, 0xC3, 0xB2, 0xA1));
    EXPECT_THAT(parsed("zzA1B2C3D4E5F6"), ElementsAre(0xF6, 0xE5, 0xD4, 0xC3, 0xB2, 0xA1));
}

TEST(DeviceAddress, EmptyTextIsRefused) {
    expectRefused("");
}

TEST(DeviceAddress, SeparatorsAreRefused) {
    expectRefused("A1:B2:C3:D4:E5:F6");
    expectRefused("A1-B2-C3-D4-E5-F6");
    expectRefused("A1 B2 C3 D4 E5 F6");
    expectRefused("A1:B2");
    expectRefused("-1");
    expectRefused("1-");
}

TEST(DeviceAddress, CellsThatAStreamWouldTakeForNumbersAreRefused) {
    for (const char* text : {"-CA1B2C3D4E5", "+AA1B2C3D4E5", "A1B2C3D4E5-F", "0xA1B2C3D4E5", "A1B2C3D4E50x", " 1", "1 ",
                             "5:", "A1B2C3D4E5F "}) {
        expectRefused(text);
    }
}

TEST(DeviceAddress, ExactlyHexadecimalDigitsAreAcceptedAtEveryPlace) {
    const std::string digits = "0123456789abcdefABCDEF";
    for (std::size_t place = 0; place < 12; ++place) {
        for (int c = 0; c < 256; ++c) {
            std::string text = "112233445566";
            text[place] = static_cast<char>(c);
            std::uint8_t address[bleAddressSize];
            const bool digit = digits.find(static_cast<char>(c)) != std::string::npos;
            EXPECT_EQ(digit ? 0 : -3, parse_device_address(text, address)) << c << " at " << place;
        }
    }
}

TEST(DeviceAddress, TextIsLowerCaseFirstOctetFirst) {
    const std::uint8_t address[] = {0xF6, 0xE5, 0xD4, 0xC3, 0xB2, 0x01};
    EXPECT_EQ("01b2c3d4e5f6", addressText(address));
}
