#include "bleProtocol.h"

#include <gtest/gtest.h>

namespace zvcamera {
namespace {

TEST(BleProtocol, CommandsAreKnownByCodeAndName) {
    EXPECT_STREQ("scan_list", findCommand(std::uint8_t{4})->name);
    EXPECT_EQ(nullptr, findCommand(std::uint8_t{5}));
    EXPECT_EQ(BleCode::WhitelistConfigure, findCommand(std::string_view("whitelist_configure"))->code);
    EXPECT_EQ(BleCode::ConfigGet, findCommand(std::string_view("10"))->code);
    EXPECT_EQ(nullptr, findCommand(std::string_view("11")));
}

} // namespace
} // namespace zvcamera
