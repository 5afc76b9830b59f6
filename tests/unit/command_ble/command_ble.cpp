// One header gives the whole interface of the BLE commands, so no other one of theirs is included here.
#include "command_ble.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <type_traits>

namespace {

using Handler = int(const char*, char*, int);
using Hook = int();

static_assert(std::is_same_v<Hook, decltype(ble_interface_open)>);
static_assert(std::is_same_v<Hook, decltype(ble_interface_close)>);

static_assert(std::is_same_v<Handler, decltype(ble_pairing_available)>);
static_assert(std::is_same_v<Handler, decltype(ble_pairing_phase)>);
static_assert(std::is_same_v<Handler, decltype(ble_configure)>);
static_assert(std::is_same_v<Handler, decltype(ble_scan)>);
static_assert(std::is_same_v<Handler, decltype(ble_scan_list)>);
static_assert(std::is_same_v<Handler, decltype(ble_pair_start)>);
static_assert(std::is_same_v<Handler, decltype(ble_pair_cancel)>);
static_assert(std::is_same_v<Handler, decltype(ble_pair_status)>);
static_assert(std::is_same_v<Handler, decltype(ble_whitelist_list)>);
static_assert(std::is_same_v<Handler, decltype(ble_whitelist_configure)>);
static_assert(std::is_same_v<Handler, decltype(ble_whitelist_device)>);

static_assert(std::is_same_v<int(const std::uint8_t*, std::uint32_t), decltype(ble_send)>);
static_assert(std::is_same_v<int(std::uint8_t*, std::uint16_t*), decltype(ble_receive)>);
static_assert(std::is_same_v<int(const std::uint8_t*, std::uint32_t, std::uint16_t*), decltype(ble_send_receive)>);
static_assert(std::is_same_v<int(const std::uint8_t*, std::uint32_t, std::uint8_t*, std::uint16_t*),
                             decltype(ble_send_receive_into)>);
static_assert(std::is_same_v<std::uint8_t[1500], decltype(ble_msg_buffer)>);
static_assert(BLE_MSG_SIZE == 1500 && BLE_REPLY_TIMEOUT_S == 15);

static_assert(std::is_same_v<int(const std::uint8_t*, std::uint16_t), decltype(ble_check_response)>);
static_assert(std::is_same_v<int(const std::uint8_t*, std::uint16_t, std::uint8_t*, std::uint16_t*),
                             decltype(ble_get_response_data)>);

static_assert(std::is_same_v<int(const std::string&, std::uint8_t*), decltype(parse_device_address)>);

static_assert(CAT_CGI_BP_REQ == 2 && CAT_CGI_BP_RSP == 3);
static_assert(typeCMD == 65 && typeDATA == 66 && typeDST == 67 && typeSRC == 68 && typeRSP == 69 && typeTAIL == 238);
static_assert(std::is_base_of_v<Msg, BLECommandMsg> && std::is_base_of_v<Msg, ZvNetMsg>);

} // namespace

// A whole interface can be called as well.
TEST(CommandBle, IsWholeByItsOneHeader) {
    std::uint8_t address[6] = {};
    EXPECT_EQ(0, parse_device_address("A1B2C3D4E5F6", address));
    EXPECT_EQ(0xA1, address[5]);
    const BLECommandMsg request;
    EXPECT_EQ(2, request.getCategory());
    // A reply with the status 0.
    const std::uint8_t reply[] = {0, 9, 0, 3, 0, 0, 1, 69, 0};
    EXPECT_EQ(0, ble_check_response(reply, sizeof reply));
}
