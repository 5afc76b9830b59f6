#include "bleAddress.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace zvcamera {
namespace {

TEST(BleAddress, AnAddressIsStoredLeastSignificantByteFirst) {
    const Address address{0xf6, 0xe5, 0xd4, 0xc3, 0xb2, 0xa1};
    EXPECT_EQ(address, parseAddress("A1B2C3D4E5F6"));
    EXPECT_EQ(address, parseAddress("a1:b2:c3:d4:e5:f6"));
    EXPECT_EQ("a1b2c3d4e5f6", toText(address));
    EXPECT_THROW(parseAddress("a1b2c3d4e5"), std::invalid_argument);
    EXPECT_THROW(parseAddress("a1b2c3d4e5f6a7"), std::invalid_argument);
    EXPECT_THROW(parseAddress("x1b2c3d4e5f6"), std::invalid_argument);
}

TEST(BleAddress, AUuidIsStoredLeastSignificantByteFirst) {
    EXPECT_EQ((Bytes{0x0d, 0x18}), parseUuid("180d", 2));
    EXPECT_EQ((Bytes{0xff, 0xee, 0xdd, 0xcc, 0xbb, 0xaa, 0x99, 0x88, 0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11, 0x00}),
              parseUuid("00112233-4455-6677-8899-aabbccddeeff", 16));
    EXPECT_EQ("180d", uuidText(Bytes{0x0d, 0x18}));
    EXPECT_THROW(parseUuid("180", 2), std::invalid_argument);
    EXPECT_THROW(parseUuid("180d", 16), std::invalid_argument);
}

} // namespace
} // namespace zvcamera
