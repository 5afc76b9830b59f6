#include "fakeHandlers.h"

#include "command_analytics.h"
#include "command_ble.h"
#include "command_execute.h"
#include "fakePlatform.h"
#include "scarceMemory.h"

#include <cstdio>
#include <string>

namespace zvtest {
namespace {

int answer(const char* name, const char* params, char* response, int size) {
    const PlentyOfMemory plenty;
    fakePlatform().calls.push_back(std::string(name) + " " + (params == nullptr ? "(null)" : params));
    std::snprintf(response, static_cast<std::size_t>(size), "%s", fakeHandlers().text);
    return fakeHandlers().result;
}

int hook(const char* name) {
    const PlentyOfMemory plenty;
    fakePlatform().calls.emplace_back(name);
    return 0;
}

} // namespace

FakeHandlers& fakeHandlers() {
    static FakeHandlers fake;
    return fake;
}

} // namespace zvtest

int ble_interface_open() {
    return zvtest::hook("ble_interface_open");
}

int ble_interface_close() {
    return zvtest::hook("ble_interface_close");
}

int ble_pairing_available(const char* params, char* response, int responseSize) {
    return zvtest::answer("ble_pairing_available", params, response, responseSize);
}

int ble_pairing_phase(const char* params, char* response, int responseSize) {
    return zvtest::answer("ble_pairing_phase", params, response, responseSize);
}

int ble_configure(const char* params, char* response, int responseSize) {
    return zvtest::answer("ble_configure", params, response, responseSize);
}

int ble_scan(const char* params, char* response, int responseSize) {
    return zvtest::answer("ble_scan", params, response, responseSize);
}

int ble_scan_list(const char* params, char* response, int responseSize) {
    return zvtest::answer("ble_scan_list", params, response, responseSize);
}

int ble_pair_start(const char* params, char* response, int responseSize) {
    return zvtest::answer("ble_pair_start", params, response, responseSize);
}

int ble_pair_cancel(const char* params, char* response, int responseSize) {
    return zvtest::answer("ble_pair_cancel", params, response, responseSize);
}

int ble_pair_status(const char* params, char* response, int responseSize) {
    return zvtest::answer("ble_pair_status", params, response, responseSize);
}

int ble_whitelist_list(const char* params, char* response, int responseSize) {
    return zvtest::answer("ble_whitelist_list", params, response, responseSize);
}

int ble_whitelist_configure(const char* params, char* response, int responseSize) {
    return zvtest::answer("ble_whitelist_configure", params, response, responseSize);
}

int ble_whitelist_device(const char* params, char* response, int responseSize) {
    return zvtest::answer("ble_whitelist_device", params, response, responseSize);
}

int handle_command_execute(const char* params, char* response, int responseSize) {
    return zvtest::answer("handle_command_execute", params, response, responseSize);
}

int handle_command_analytics(const char* params, char* response, int responseSize) {
    return zvtest::answer("handle_command_analytics", params, response, responseSize);
}

int handle_command_analytics_clear(const char* params, char* response, int responseSize) {
    return zvtest::answer("handle_command_analytics_clear", params, response, responseSize);
}
