// Stands in for the functions of libzvCtrlD and libcsi.
#include "csi.h"
#include "journal.h"
#include "script.h"
#include "zvCtrlD.h"
#include "zvErrno.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <ostream>
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

int giveText(const char* getter, char* text, int size) {
    const std::string before = quoted(text);
    const std::string name = std::string("zvc_state_get_") + getter;
    const int result = script::number(name, ZV_OK);
    if (result == ZV_OK) {
        std::snprintf(text, static_cast<std::size_t>(size), "%s", getter);
    }
    record(name, "(", before, ", ", size, ") = ", result, result == ZV_OK ? " " + quoted(text) : "");
    return result;
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

int zvcontrol_uri_add_handler(const char* uri, zvcontrol_handler handler, zvcontrol_hook open_hook,
                              zvcontrol_hook close_hook) {
    const std::string name = "handler" + std::to_string(rows().size() + 1);
    if (place(address(handler)) == "memory") {
        journal::name(address(handler), 1, name);
    }
    rows().push_back({uri, handler, open_hook, close_hook, name});
    const int result = script::number("zvcontrol_uri_add_handler", ZV_OK);
    record("zvcontrol_uri_add_handler(", quoted(uri), ", ", place(address(handler)), ", ",
           hookName(open_hook, "open_hook"), ", ", hookName(close_hook, "close_hook"), ") = ", result);
    return result;
}

int zvcontrol_uri_handle_uri_param(const char* path, const char* params, char* response, int response_size) {
    const bool clean = isZero(response, response_size);
    journal::name(response, static_cast<std::size_t>(response_size), clean ? "response" : "response that is not zero");
    const char* const name = "zvcontrol_uri_handle_uri_param";
    record(name, "(", quoted(path), ", ", quoted(params), ", ", place(response), ", ", response_size, ") ...");
    const int result = dispatch(path == nullptr ? "" : path, params, response, response_size);
    record(name, " = ", result);
    return result;
}

int zvcontrol_send_command_param_response(int command, const unsigned char* param, int param_length, char* response,
                                          int response_size) {
    const char* const name = "zvcontrol_send_command_param_response";
    const int result = script::number(name, ZV_OK);
    std::string answer;
    if (result == ZV_OK && response != nullptr) {
        answer = script::next("answer").value_or("");
        std::snprintf(response, static_cast<std::size_t>(response_size), "%s", answer.c_str());
        answer = " " + quoted(answer);
    }
    record(name, "(", command, ", ", place(param), ", ", param_length, ", ", place(response), ", ", response_size,
           ") = ", result, answer);
    return result;
}

int zvc_state_get_model_number(unsigned char* number) {
    const int before = *number;
    const int result = script::number("zvc_state_get_model_number", ZV_OK);
    if (result == ZV_OK) {
        *number = static_cast<unsigned char>(script::number("model_number", 12));
    }
    record("zvc_state_get_model_number(", before, ") = ", result, result == ZV_OK ? " " + std::to_string(*number) : "");
    return result;
}

int zvc_state_get_model_name(char* text, int size) {
    return giveText("model_name", text, size);
}

int zvc_state_get_firmware_version(char* text, int size) {
    return giveText("firmware_version", text, size);
}

int zvc_state_get_serial_number(char* text, int size) {
    return giveText("serial_number", text, size);
}

int zvc_state_get_board_type(char* text, int size) {
    return giveText("board_type", text, size);
}

int zvc_state_get_ap_mac(char* text, int size) {
    return giveText("ap_mac", text, size);
}

int zvc_state_get_ap_ssid(char* text, int size) {
    return giveText("ap_ssid", text, size);
}

int zvc_state_get_ap_has_default_credentials(bool* flag) {
    const bool before = *flag;
    const int result = script::number("zvc_state_get_ap_has_default_credentials", ZV_OK);
    if (result == ZV_OK) {
        *flag = true;
    }
    record("zvc_state_get_ap_has_default_credentials(", before, ") = ", result, result == ZV_OK ? " 1" : "");
    return result;
}

int csi_get(int item, int size, int* returned, void* value) {
    const int result = script::number("csi_get", ZV_OK);
    auto* const word = static_cast<std::int32_t*>(value);
    const std::int32_t before = *word;
    if (result == ZV_OK) {
        *word = script::number("csi_get." + std::to_string(item), 0);
    }
    record("csi_get(", item, ", ", size, ", ", *returned, ", ", before, ") = ", result,
           result == ZV_OK ? " " + std::to_string(*word) : "");
    return result;
}

// What the following two write is the library's own affair: a mark shows where the program had it written.
void http_output_success_header(std::ostream& stream) {
    record("http_output_success_header(stream)");
    stream << "<header>";
}

void http_output_empty_json(std::ostream& stream) {
    record("http_output_empty_json(stream)");
    stream << "<empty>";
}

void http_print_error_response_ex(std::ostream& stream, const char* path, const char* params, int http_status,
                                  int error_code, const char* message, const char* function, int line) {
    record("http_print_error_response_ex(stream, ", quoted(path), ", ", quoted(params), ", ", http_status, ", ",
           error_code, ", ", quoted(message), ", ", quoted(function), ", ", line, ")");
    stream << "<error>";
}

// Finds real parameters; nothing is decoded.
int parseParam(const char* params, const char* key, std::string& value) {
    const std::string query = "&" + std::string(params == nullptr ? "" : params);
    const std::size_t found = query.find("&" + std::string(key));
    const int result = found == std::string::npos ? 0 : 1;
    if (result == 1) {
        const std::size_t start = found + 1 + std::char_traits<char>::length(key);
        value = query.substr(start, query.find('&', start) - start);
    }
    record("parseParam(", quoted(params), ", ", quoted(key), ", value) = ", result,
           result == 1 ? " " + quoted(value) : "");
    return result;
}
