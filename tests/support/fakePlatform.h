// A stand-in for the closed libraries, linked in their place: it keeps a journal of the calls and answers as the test
// says. It has neither parseParam nor the messages. Scarce memory does not touch its journal, only what it calls and
// the streams that it writes to.
#pragma once

#include "zvCtrlD.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace zvtest {

// A registered row.
struct FakeRow {
    std::string uri;
    zvcontrol_handler handler;
    zvcontrol_hook openHook;
    zvcontrol_hook closeHook;
};

struct FakePlatform {
    // One line for each call, with its arguments; a null text is shown as (null).
    std::vector<std::string> calls;
    // All rows registered since the interface was last closed.
    std::vector<FakeRow> rows;

    // Results of the URI interface. Registration gives addResult at the row failingRow, from 1 on; 0 for no row.
    int openResult = 0;
    int closeResult = 0;
    int failingRow = 0;
    int addResult = 0;
    // Serves the dispatched request; when empty, the registered handler does.
    std::function<int(const char* path, const char* params, char* response, int size)> serve;

    // Camera state, and the results of getters by name ("model_number"); 0 where absent.
    unsigned char modelNumber = 12;
    std::map<std::string, std::string> texts = {
        {"model_name", "Tess 12"}, {"firmware_version", "3.4.5"}, {"serial_number", "SN0001"},
        {"board_type", "B7"},      {"ap_mac", "020304050607"},    {"ap_ssid", "zarvo-0001"},
    };
    bool defaultCredentials = false;
    // Lets text getters and the daemon command fill their arrays to the last byte, without a terminating zero.
    bool unterminated = false;
    std::map<std::string, int> getterResults;

    // csi_get
    int csiResult = 0;
    int recording = 0;

    // zvcontrol_send_command_param_response
    int commandResult = 0;
    std::string commandAnswer;
};

// The process's only one.
FakePlatform& fakePlatform();

} // namespace zvtest
