#include "handlerTable.h"

#include "command_analytics.h"
#include "command_execute.h"
#include "zvErrno.h"

namespace {

constexpr CustomHandler rows[] = {
    {"execute", handle_command_execute, nullptr, nullptr},
    {"analytics/get", handle_command_analytics, nullptr, nullptr},
    {"analytics/clear", handle_command_analytics_clear, nullptr, nullptr},
};

} // namespace

std::span<const CustomHandler> custom_handlers() {
    return rows;
}

int register_custom_handlers() {
    for (const CustomHandler& row : rows) {
        const int result = zvcontrol_uri_add_handler(row.uri, row.handler, row.open_hook, row.close_hook);
        if (result != ZV_OK) {
            return result;
        }
    }
    return ZV_OK;
}
