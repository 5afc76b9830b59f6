// Reading of queries: parameters, numbers and device addresses, and the answer that shows a wrong request.
#include "bleQuery.h"
#include "deviceAddress.h"
#include "fuzzInput.h"
#include "zvCtrlD.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>

namespace {

using zvfuzz::Input;
using zvfuzz::require;

const char* const keys[] = {"p=", "auto_connect=", "device=", "address=", "address_type=", "remove=", "p1=", "=", "%"};

std::string decoded(const std::string& text) {
    std::string value;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool escape = text[i] == '%' && i + 2 < text.size() &&
                            std::isxdigit(static_cast<unsigned char>(text[i + 1])) != 0 &&
                            std::isxdigit(static_cast<unsigned char>(text[i + 2])) != 0;
        const char byte = escape ? static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16)) : '\0';
        value += byte != '\0' ? byte : text[i];
        i += byte != '\0' ? 2 : 0;
    }
    return value;
}

std::optional<std::string> parameter(const std::string& query, const std::string& key) {
    std::istringstream parts(query);
    for (std::string part; std::getline(parts, part, '&');) {
        if (part.rfind(key, 0) == 0) {
            return decoded(part.substr(key.size()));
        }
    }
    return std::nullopt;
}

void checkInteger(const std::string& text) {
    int number = 12345;
    const bool parsed = parseInteger(text, number);
    char* end = nullptr;
    errno = 0;
    const long wide = std::strtol(text.c_str(), &end, 10);
    const bool valid = end != text.c_str() && errno == 0 && wide >= INT_MIN && wide <= INT_MAX;
    require(parsed == valid, "a number is taken as strtol takes it");
    require(number == (valid ? wide : 12345), "the number's value");
}

void checkAddress(const std::string& text) {
    std::uint8_t address[bleAddressSize] = {1, 2, 3, 4, 5, 6};
    const int result = parse_device_address(text, address);
    std::string padded = std::string(12, '0') + text;
    padded.erase(0, padded.size() - 12);
    const bool valid = !text.empty() &&
                       std::all_of(padded.begin(), padded.end(), [](unsigned char c) { return std::isxdigit(c) != 0; });
    require(result == (valid ? 0 : -3), "an address is twelve digits");
    std::transform(padded.begin(), padded.end(), padded.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    require(addressText(address) == (valid ? padded : "060504030201"), "the address that was read");
}

void checkErrorAnswer(const std::string& text) {
    std::ostringstream stream;
    http_print_error_response_ex(stream, text.c_str(), text.c_str(), 400, -3, text.c_str(), "f", 1);
    const std::string answer = stream.str();
    const std::string header = "Status: 400 Bad Request\r\nContent-Type: application/json\r\n\r\n";
    require(answer.rfind(header, 0) == 0, "the header");
    const auto json = nlohmann::json::parse(answer.substr(header.size()), nullptr, false);
    require(json.is_object() && json.size() == 6, "an error answer is a JSON object");
    const std::string shown = json.at("query").get<std::string>();
    const bool plain = std::all_of(text.begin(), text.end(), [](char c) { return c >= 0; });
    require(!plain || shown == text, "the query is shown as it came");
}

} // namespace

// The query, and behind a zero byte a value by itself.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const std::string query = input.line();
    for (const char* key : keys) {
        std::string value = "before";
        const bool found = findParameter(query.c_str(), key, value);
        const auto wanted = parameter(query, key);
        require(found == wanted.has_value(), "a parameter is found where it stands");
        require(value == wanted.value_or("before"), "the parameter's value");
        checkInteger(value);
        checkAddress(value);
    }
    checkErrorAnswer(query);
    const std::string alone = input.line();
    checkInteger(alone);
    checkAddress(alone);
    return 0;
}
