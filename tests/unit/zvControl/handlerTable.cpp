#include "handlerTable.h"

#include "command_analytics.h"
#include "command_ble.h"
#include "command_execute.h"
#include "fakePlatform.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using zvtest::fakePlatform;

struct Expected {
    const char* uri;
    zvcontrol_handler handler;
    bool hooks;
};

constexpr Expected table[] = {
    {"command/ble/pairing_available", ble_pairing_available, false},
    {"command/ble/pairing_phase", ble_pairing_phase, true},
    {"command/ble/configure", ble_configure, true},
    {"command/ble/scan", ble_scan, true},
    {"command/ble/scan/list", ble_scan_list, true},
    {"command/ble/pair/start", ble_pair_start, true},
    {"command/ble/pair/cancel", ble_pair_cancel, true},
    {"command/ble/pair/status", ble_pair_status, true},
    {"command/ble/whitelist/list", ble_whitelist_list, true},
    {"command/ble/whitelist/configure", ble_whitelist_configure, true},
    {"command/ble/whitelist/device", ble_whitelist_device, true},
    {"execute", handle_command_execute, false},
    {"analytics/get", handle_command_analytics, false},
    {"analytics/clear", handle_command_analytics_clear, false},
};

TEST(HandlerTable, HasFourteenRowsInTheirOrderWithHandlerAndHooks) {
    const auto rows = custom_handlers();
    ASSERT_EQ(14U, rows.size());
    for (std::size_t index = 0; index < rows.size(); ++index) {
        const Expected& expected = table[index];
        EXPECT_STREQ(expected.uri, rows[index].uri);
        EXPECT_EQ(expected.handler, rows[index].handler) << expected.uri;
        EXPECT_EQ(expected.hooks ? ble_interface_open : nullptr, rows[index].openHook) << expected.uri;
        EXPECT_EQ(expected.hooks ? ble_interface_close : nullptr, rows[index].closeHook) << expected.uri;
    }
}

TEST(HandlerTable, RegistersAllRowsWithTheirHandlersAndHooks) {
    EXPECT_EQ(0, register_custom_handlers());
    const auto& rows = fakePlatform().rows;
    ASSERT_EQ(14U, rows.size());
    for (std::size_t index = 0; index < rows.size(); ++index) {
        const Expected& expected = table[index];
        EXPECT_EQ(expected.uri, rows[index].uri);
        EXPECT_EQ(expected.handler, rows[index].handler) << expected.uri;
        EXPECT_EQ(expected.hooks ? ble_interface_open : nullptr, rows[index].openHook) << expected.uri;
        EXPECT_EQ(expected.hooks ? ble_interface_close : nullptr, rows[index].closeHook) << expected.uri;
    }
}

TEST(HandlerTable, StopsAtTheFirstRowThatIsRefused) {
    fakePlatform().failingRow = 2;
    fakePlatform().addResult = -6;
    EXPECT_EQ(-6, register_custom_handlers());
    EXPECT_THAT(fakePlatform().calls,
                ElementsAre("add command/ble/pairing_available", "add command/ble/pairing_phase"));
}

} // namespace
