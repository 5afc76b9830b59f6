// A scripted stand-in for the closed libraries, linked in their place: it keeps a journal of the calls and answers what
// the test says. parseParam and the messages are not part of it. Scarce memory is scarce for what it calls and for the
// streams that it writes to, not for its own journal.
#pragma once

#include "zvCtrlD.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace zvtest {

// A row as it was registered.
struct FakeRow {
    std::string uri;
    zvcontrol_handler handler;
    zvcontrol_hook open_hook;
    zvcontrol_hook close_hook;
};

struct FakePlatform {
    // One line a call, arguments included; a null text is shown as (null).
    std::vector<std::string> calls;
    // All rows registered since the interface was last closed.
    std::vector<FakeRow> rows;

    // Results of the URI interface; registration fails with add_result at the row failing_row (from 1; 0: none).
    int open_result = 0;
    int close_result = 0;
    int failing_row = 0;
    int add_result = 0;
    // Serves the dispatched request. Without one, handlers are found as the real dispatcher does.
    std::function<int(const char* path, const char* params, char* response, int size)> serve;

    // Camera state, and the results of getters by name ("model_number"); 0 where absent.
    unsigned char model_number = 12;
    std::map<std::string, std::string> texts = {
        {"model_name", "Tess 12"}, {"firmware_version", "3.4.5"}, {"serial_number", "SN0001"},
        {"board_type", "B7"},      {"ap_mac", "020304050607"},    {"ap_ssid", "zarvo-0001"},
    };
    bool default_credentials = false;
    // Text getters and the daemon command fill their arrays to the last byte, without a terminating zero.
    bool unterminated = false;
    std::map<std::string, int> getter_results;

    // csi_get
    int csi_result = 0;
    int recording = 0;

    // zvcontrol_send_command_param_response
    int command_result = 0;
    std::string command_answer;
};

// The one of the process.
FakePlatform& fakePlatform();

} // namespace zvtest
