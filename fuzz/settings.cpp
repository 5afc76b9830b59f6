// Settings documents: the camera description that is made of one.
#include "cameraDescription.h"
#include "fileStandIn.h"
#include "fuzzInput.h"
#include "zvCtrlD.h"
#include "zvErrno.h"

#include <cstring>

namespace {

using zvfuzz::file;
using zvfuzz::Input;
using zvfuzz::require;

unsigned char model = 0;
std::string cameraText; // every text of the camera's state

int give(char* text, int size) {
    const std::size_t length = cameraText.copy(text, static_cast<std::size_t>(size));
    std::memset(text + length, 0, static_cast<std::size_t>(size) - length);
    return ZV_OK;
}

std::string withoutLineEnds(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), '\n'), text.end());
    return text;
}

std::string member(const char* name) {
    const std::string text = cameraText.substr(0, 255);
    return std::string(",\"") + name + "\":\"" + text.substr(0, text.find('\0')) + "\"";
}

std::string info() {
    return ",\n\"info\":{\"model_number\":" + std::to_string(model) + member("model_name") +
           member("firmware_version") + member("serial_number") + member("board_type") + member("ap_mac") +
           member("ap_ssid") + ",\"ap_has_default_credentials\":\"0\",\"git_sha1\":\"";
}

} // namespace

int zvc_state_get_model_number(unsigned char* number) {
    *number = model;
    return ZV_OK;
}
int zvc_state_get_model_name(char* text, int size) {
    return give(text, size);
}
int zvc_state_get_firmware_version(char* text, int size) {
    return give(text, size);
}
int zvc_state_get_serial_number(char* text, int size) {
    return give(text, size);
}
int zvc_state_get_board_type(char* text, int size) {
    return give(text, size);
}
int zvc_state_get_ap_mac(char* text, int size) {
    return give(text, size);
}
int zvc_state_get_ap_ssid(char* text, int size) {
    return give(text, size);
}
int zvc_state_get_ap_has_default_credentials(bool* flag) {
    *flag = false;
    return ZV_OK;
}

// Model, bytes that a read gives, length of the camera's texts and their content, the document.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    model = input.byte();
    file().piece = input.byte() * 16U + 1;
    cameraText = input.text(input.number() % 300);
    file().exists = model != 0xFF;
    file().content = input.rest();

    watchMemory();
    AnswerStream stream;
    const int result = camera_description_output_json(stream);
    const std::string answer(textOf(stream));
    const std::string document = withoutLineEnds(file().content);
    const std::size_t brace = document.rfind('}');
    if (!file().exists || brace == std::string::npos) {
        require(result == ZV_ERR_FILE_OPEN, "a document without an object is no settings");
        require(answer.rfind("Status: 500 ", 0) == 0, "the answer to it");
        return 0;
    }
    require(result == ZV_OK, "settings are answered");
    const std::string expected =
        "Status: 200 OK\r\nContent-Type: application/json\r\n\r\n" + document.substr(0, brace) + info();
    require(answer.size() == expected.size() + 40 + 3 && answer.rfind(expected, 0) == 0, "the description");
    require(answer.substr(answer.size() - 3) == "\"}}", "its end");
    return 0;
}
