#include "httpStatus.h"
#include "jsonText.h"
#include "zvCtrlD.h"

#include <exception>
#include <ostream>

namespace {

constexpr int leastStatus = 100;
constexpr int greatestStatus = 599;
constexpr int serverError = 500;

void appendHeader(std::string& text, int status) {
    text += "Status: " + std::to_string(status) + " ";
    text += httpReason(status);
    text += "\r\nContent-Type: application/json\r\n\r\n";
}

void appendMember(std::string& json, std::string_view name, const char* text) {
    json += name;
    json += '"';
    appendJsonText(json, text != nullptr ? text : "");
    json += '"';
}

void put(std::ostream& stream, std::string_view text) {
    stream.write(text.data(), static_cast<std::streamsize>(text.size()));
}

} // namespace

void http_output_success_header(std::ostream& stream) {
    put(stream, "Status: 200 OK\r\nContent-Type: application/json\r\n\r\n");
}

void http_output_empty_json(std::ostream& stream) {
    put(stream, "{}");
}

void http_print_error_response_ex(std::ostream& stream, const char* path, const char* params, int httpStatus,
                                  int errorCode, const char* message, const char* function, int line) try {
    const bool valid = httpStatus >= leastStatus && httpStatus <= greatestStatus;
    std::string text;
    appendHeader(text, valid ? httpStatus : serverError);
    appendMember(text, "{\"status\":", message);
    text += ",\"zverr\":" + std::to_string(errorCode);
    appendMember(text, ",\"_function\":", function);
    text += ",\"_line\":" + std::to_string(line);
    appendMember(text, ",\"path\":", path);
    appendMember(text, ",\"query\":", params);
    text += "}";
    put(stream, text);
} catch (const std::exception&) {
    stream.setstate(std::ios_base::badbit); // no memory for the answer
}
