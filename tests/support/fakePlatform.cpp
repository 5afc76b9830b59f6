#include "fakePlatform.h"

#include "csi.h"
#include "scarceMemory.h"
#include "zvCtrlD.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ostream>

namespace zvtest {
namespace {

const char* shown(const char* text) {
    return text == nullptr ? "(null)" : text;
}

const FakeRow* findRow(const char* path) {
    const PlentyOfMemory plenty;
    const std::string uri = std::string(shown(path)).substr(path != nullptr && *path == '/' ? 1 : 0);
    const auto& rows = fakePlatform().rows;
    const auto row = std::find_if(rows.begin(), rows.end(), [&](const FakeRow& one) { return one.uri == uri; });
    return row == rows.end() ? nullptr : &*row;
}

int dispatch(const char* path, const char* params, char* response, int size) {
    const FakeRow* const row = findRow(path);
    if (row == nullptr) {
        return -20;
    }
    if (row->openHook != nullptr) {
        const int opened = row->openHook();
        if (opened != 0) {
            return opened;
        }
    }
    const int result = row->handler(params, response, size);
    if (row->closeHook != nullptr) {
        row->closeHook();
    }
    return result;
}

void noteDispatch(const char* path, const char* params, int size) {
    const PlentyOfMemory plenty;
    fakePlatform().calls.push_back(std::string("handle ") + shown(path) + " " + shown(params) + " " +
                                   std::to_string(size));
}

void give(const std::string& answer, char* text, int size) {
    if (fakePlatform().unterminated) {
        answer.copy(text, static_cast<std::size_t>(size));
    } else {
        std::snprintf(text, static_cast<std::size_t>(size), "%s", answer.c_str());
    }
}

int getText(const char* name, char* text, int size) {
    const PlentyOfMemory plenty;
    FakePlatform& fake = fakePlatform();
    fake.calls.push_back(std::string(name) + " " + std::to_string(size));
    if (fake.getterResults[name] == 0) {
        give(fake.texts[name], text, size);
    }
    return fake.getterResults[name];
}

} // namespace

FakePlatform& fakePlatform() {
    static FakePlatform fake;
    return fake;
}

} // namespace zvtest

using zvtest::fakePlatform;
using zvtest::PlentyOfMemory;

extern "C" {

int zvcontrol_uri_interface_open(void) {
    const PlentyOfMemory plenty;
    fakePlatform().calls.push_back("open");
    return fakePlatform().openResult;
}

int zvcontrol_uri_interface_close(void) {
    const PlentyOfMemory plenty;
    fakePlatform().calls.push_back("close");
    fakePlatform().rows.clear();
    return fakePlatform().closeResult;
}

int zvcontrol_uri_add_handler(const char* uri, zvcontrol_handler handler, zvcontrol_hook openHook,
                              zvcontrol_hook closeHook) {
    const PlentyOfMemory plenty;
    fakePlatform().calls.push_back(std::string("add ") + uri);
    fakePlatform().rows.push_back({uri, handler, openHook, closeHook});
    const bool fails = static_cast<int>(fakePlatform().rows.size()) == fakePlatform().failingRow;
    return fails ? fakePlatform().addResult : 0;
}

int zvcontrol_uri_handle_uri_param(const char* path, const char* params, char* response, int responseSize) {
    zvtest::noteDispatch(path, params, responseSize);
    const auto& serve = fakePlatform().serve;
    return serve ? serve(path, params, response, responseSize) : zvtest::dispatch(path, params, response, responseSize);
}

int zvcontrol_send_command_param_response(int command, const unsigned char* param, int paramLength, char* response,
                                          int responseSize) {
    const PlentyOfMemory plenty;
    auto& fake = fakePlatform();
    fake.calls.push_back("command " + std::to_string(command) + (param == nullptr ? " null " : " data ") +
                         std::to_string(paramLength) + (response == nullptr ? " null " : " buffer ") +
                         std::to_string(responseSize));
    if (fake.commandResult == 0 && response != nullptr) {
        zvtest::give(fake.commandAnswer, response, responseSize);
    }
    return fake.commandResult;
}

int zvc_state_get_model_number(unsigned char* number) {
    const PlentyOfMemory plenty;
    auto& fake = fakePlatform();
    fake.calls.push_back("model_number");
    if (fake.getterResults["model_number"] == 0) {
        *number = fake.modelNumber;
    }
    return fake.getterResults["model_number"];
}

int zvc_state_get_model_name(char* text, int size) {
    return zvtest::getText("model_name", text, size);
}

int zvc_state_get_firmware_version(char* text, int size) {
    return zvtest::getText("firmware_version", text, size);
}

int zvc_state_get_serial_number(char* text, int size) {
    return zvtest::getText("serial_number", text, size);
}

int zvc_state_get_board_type(char* text, int size) {
    return zvtest::getText("board_type", text, size);
}

int zvc_state_get_ap_mac(char* text, int size) {
    return zvtest::getText("ap_mac", text, size);
}

int zvc_state_get_ap_ssid(char* text, int size) {
    return zvtest::getText("ap_ssid", text, size);
}

int zvc_state_get_ap_has_default_credentials(bool* flag) {
    const PlentyOfMemory plenty;
    auto& fake = fakePlatform();
    fake.calls.push_back("ap_has_default_credentials");
    if (fake.getterResults["ap_has_default_credentials"] == 0) {
        *flag = fake.defaultCredentials;
    }
    return fake.getterResults["ap_has_default_credentials"];
}

int csi_get(int item, int size, int* returned, void* value) {
    const PlentyOfMemory plenty;
    auto& fake = fakePlatform();
    int before = -1;
    std::memcpy(&before, value, sizeof before);
    fake.calls.push_back("csi " + std::to_string(item) + " " + std::to_string(size) + " zeroed " +
                         std::to_string(*returned) + " " + std::to_string(before));
    std::memcpy(value, &fake.recording, sizeof fake.recording);
    return fake.csiResult;
}

} // extern "C"

// Each writes a text of its own, so that a test can tell the calls apart.

void http_output_success_header(std::ostream& stream) {
    stream << "<success header>\n";
}

void http_output_empty_json(std::ostream& stream) {
    stream << "<empty json>";
}

void http_print_error_response_ex(std::ostream& stream, const char* path, const char* params, int httpStatus,
                                  int errorCode, const char* message, const char* function, int line) {
    stream << "<error " << zvtest::shown(path) << "|" << zvtest::shown(params) << "|" << httpStatus << "|" << errorCode
           << "|" << zvtest::shown(message) << "|" << function << "|" << line << ">";
}
