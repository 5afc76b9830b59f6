// Stands in for what libzvCtrlD and libcsi tell, and for the answers that libzvCtrlD writes.
#include "csi.h"
#include "journal.h"
#include "script.h"
#include "zvCtrlD.h"
#include "zvErrno.h"

#include <cstdint>
#include <cstdio>
#include <new>
#include <ostream>
#include <string>

using journal::place;
using journal::quoted;
using journal::record;

namespace {

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

// A number in the script stands for a null text behind the mark, which is how a library spoils a stream.
void mark(std::ostream& stream, const char* text, const char* name) {
    stream << text;
    if (script::next(name)) {
        const char* const nothing = nullptr;
        stream << nothing;
    }
}

} // namespace

int zvcontrol_send_command_param_response(int command, const unsigned char* param, int paramLength, char* response,
                                          int responseSize) {
    const char* const name = "zvcontrol_send_command_param_response";
    const int result = script::number(name, ZV_OK);
    std::string answer;
    if (result == ZV_OK && response != nullptr) {
        answer = script::next("answer").value_or("");
        std::snprintf(response, static_cast<std::size_t>(responseSize), "%s", answer.c_str());
        answer = " " + quoted(answer);
    }
    record(name, "(", command, ", ", place(param), ", ", paramLength, ", ", place(response), ", ", responseSize,
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

// What the following three write is the library's own affair: a mark shows where the program had it written.
void http_output_success_header(std::ostream& stream) {
    record("http_output_success_header(stream)");
    mark(stream, "<header>", "http_output_success_header");
}

void http_output_empty_json(std::ostream& stream) {
    record("http_output_empty_json(stream)");
    mark(stream, "<empty>", "http_output_empty_json");
}

void http_print_error_response_ex(std::ostream& stream, const char* path, const char* params, int httpStatus,
                                  int errorCode, const char* message, const char* function, int line) {
    record("http_print_error_response_ex(stream, ", quoted(path), ", ", quoted(params), ", ", httpStatus, ", ",
           errorCode, ", ", quoted(message), ", ", quoted(function), ", ", line, ")");
    mark(stream, "<error>", "http_print_error_response_ex");
}

// Finds real parameters; nothing is decoded. A number in the script stands for a lack of memory.
int parseParam(const char* params, const char* key, std::string& value) {
    if (script::next("parseParam")) {
        record("parseParam(", quoted(params), ", ", quoted(key), ", value) throws");
        throw std::bad_alloc();
    }
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
