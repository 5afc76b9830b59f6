// Stands in for the dispatcher of libzvCtrlD: it calls hooks and handlers as that one does.
#include "journal.h"
#include "script.h"
#include "zvCtrlD.h"
#include "zvErrno.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

using journal::place;
using journal::quoted;
using journal::record;

namespace {

struct Row {
    std::string uri;
    zvcontrol_handler handler;
    zvcontrol_hook open;
    zvcontrol_hook close;
    std::string name; // of the handler, in the journal
};

std::vector<Row>& rows() {
    static std::vector<Row> all;
    return all;
}

template<typename Function>
const void* address(Function* function) {
    return reinterpret_cast<const void*>(function);
}

// The first hook of a kind gives the name to all that are the same function.
std::string hookName(zvcontrol_hook hook, const char* kind) {
    if (hook != nullptr && place(address(hook)) == "memory") {
        journal::name(address(hook), 1, kind);
    }
    return place(address(hook));
}

int callHook(zvcontrol_hook hook) {
    if (hook == nullptr) {
        return ZV_OK;
    }
    const std::string name = place(address(hook));
    record(name, " ...");
    const int result = hook();
    record(name, " = ", result);
    return result;
}

int callHandler(const Row& row, const char* params, char* response, int size) {
    record(row.name, "(", quoted(params), ", ", place(response), ", ", size, ") ...");
    const int result = row.handler(params, response, size);
    record(row.name, " = ", result);
    return result;
}

int dispatch(std::string_view path, const char* params, char* response, int size) {
    if (path.starts_with('/')) {
        path.remove_prefix(1);
    }
    for (const Row& row : rows()) {
        if (row.uri != path) {
            continue;
        }
        if (const int result = callHook(row.open); result != ZV_OK) {
            return result;
        }
        const int result = callHandler(row, params, response, size);
        static_cast<void>(callHook(row.close));
        return result;
    }
    return ZV_ERR_NOT_SUPPORTED;
}

bool isZero(const char* buffer, int size) {
    return std::all_of(buffer, buffer + size, [](char byte) { return byte == '\0'; });
}

} // namespace

int zvcontrol_uri_interface_open() {
    const int result = script::number("zvcontrol_uri_interface_open", ZV_OK);
    record("zvcontrol_uri_interface_open() = ", result);
    return result;
}

int zvcontrol_uri_interface_close() {
    const int result = script::number("zvcontrol_uri_interface_close", ZV_OK);
    record("zvcontrol_uri_interface_close() = ", result);
    return result;
}

int zvcontrol_uri_add_handler(const char* uri, zvcontrol_handler handler, zvcontrol_hook openHook,
                              zvcontrol_hook closeHook) {
    const std::string name = "handler" + std::to_string(rows().size() + 1);
    if (place(address(handler)) == "memory") {
        journal::name(address(handler), 1, name);
    }
    rows().push_back({uri, handler, openHook, closeHook, name});
    const int result = script::number("zvcontrol_uri_add_handler", ZV_OK);
    record("zvcontrol_uri_add_handler(", quoted(uri), ", ", place(address(handler)), ", ",
           hookName(openHook, "open_hook"), ", ", hookName(closeHook, "close_hook"), ") = ", result);
    return result;
}

int zvcontrol_uri_handle_uri_param(const char* path, const char* params, char* response, int responseSize) {
    const bool clean = isZero(response, responseSize);
    journal::name(response, static_cast<std::size_t>(responseSize), clean ? "response" : "response that is not zero");
    const char* const name = "zvcontrol_uri_handle_uri_param";
    record(name, "(", quoted(path), ", ", quoted(params), ", ", place(response), ", ", responseSize, ") ...");
    const int result = dispatch(path == nullptr ? "" : path, params, response, responseSize);
    record(name, " = ", result);
    return result;
}
