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

TEST(BleProtocol, EveryStatusHasItsWords) {
    const char* const expected[] = {"ok",        "unknown command", "bad parameters", "busy",
                                    "not found", "no room",         "unreachable",    "unknown status"};
    for (std::uint8_t status = 0; status < 8; ++status) {
        EXPECT_STREQ(expected[status], toText(static_cast<Status>(status)));
    }
    const char* const pairing[] = {"idle", "pairing", "paired", "failed", "cancelled", "timed out", "unknown status"};
    for (std::uint8_t status = 0; status < 7; ++status) {
        EXPECT_STREQ(pairing[status], toText(static_cast<PairingStatus>(status)));
    }
}

} // namespace
} // namespace zvcamera
