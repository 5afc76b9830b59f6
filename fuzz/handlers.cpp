// Every BLE handler, with a daemon behind it that answers what the input says.
#include "bleInterface.h"
#include "bleLink.h"
#include "command_ble.h"
#include "csi.h"
#include "fuzzInput.h"
#include "queueStandIn.h"
#include "zvLog.h"

#include <cstring>

namespace {

using zvfuzz::Bytes;
using zvfuzz::Input;
using zvfuzz::queues;
using zvfuzz::require;

using Handler = int (*)(const char*, char*, int);
constexpr Handler handlers[] = {
    ble_pairing_available, ble_pairing_phase,       ble_configure,        ble_scan,
    ble_scan_list,         ble_pair_start,          ble_pair_cancel,      ble_pair_status,
    ble_whitelist_list,    ble_whitelist_configure, ble_whitelist_device,
};
constexpr std::size_t handlerCount = sizeof handlers / sizeof handlers[0];

// What csi_get answers.
std::int32_t cameraState = 0;
bool cameraFails = false;

Bytes joined(const Bytes& a, const Bytes& b) {
    Bytes all = a;
    all.insert(all.end(), b.begin(), b.end());
    return all;
}

Bytes replyOf(std::uint8_t status, const Bytes& data) {
    const std::size_t length = data.size() + 1;
    const std::size_t total = length + 8;
    return joined({static_cast<std::uint8_t>(total >> 8), static_cast<std::uint8_t>(total), 0, 3, 0,
                   static_cast<std::uint8_t>(length >> 8), static_cast<std::uint8_t>(length), 69, status},
                  data);
}

// A page that answers the request, with entries of the input.
Bytes pageFor(const Bytes& request, Input& input) {
    constexpr std::size_t command = 4 + 4 + 2 + 4; // of the data element, in any request to the BLE daemon
    const bool scan = request.size() > command && request[command] == 4;
    const std::uint8_t start = request.size() > command + 1 ? request[command + 1] : std::uint8_t{0};
    const std::uint8_t id = input.byte();
    const std::uint8_t total = input.byte();
    const std::uint8_t count = input.byte();
    const std::size_t entry = scan ? 82 : 41;
    Bytes page = joined({id, total, start, count}, input.bytes(input.byte() % (entry + 1)));
    page.resize(std::min<std::size_t>(4 + count * entry, BLE_MSG_SIZE - 9));
    return replyOf(0, page);
}

// The reply that the input says; true when there is one.
void answer(const Bytes& request, Input& input) {
    if (input.empty()) {
        return; // no reply comes in time
    }
    const std::uint8_t kind = input.byte();
    switch (kind % 4) {
    case 0:
        queues().waiting.push_back(input.bytes(input.number() % (BLE_MSG_SIZE + 1)));
        break;
    case 1:
        queues().waiting.push_back(replyOf(0, input.bytes(kind / 4)));
        break;
    case 2:
        queues().waiting.push_back(pageFor(request, input));
        break;
    default:
        queues().waiting.push_back(replyOf(kind / 4, input.bytes(input.byte())));
        break;
    }
}

void checkAnswer(int result, const std::vector<char>& response) {
    if (result == 0 && response.front() != '\x7f') {
        const auto end = std::find(response.begin(), response.end(), '\0');
        require(end != response.end(), "a response ends in its room");
        const std::string text(response.begin(), end);
        require(text.size() >= 4 && text.substr(0, 2) == "\n{" && text.substr(text.size() - 2) == "}\n",
                "a response is an object between two line ends");
        return;
    }
    require(result == 0 || result == -1 || result == -3, "the result of a command");
    require(std::all_of(response.begin(), response.end(), [](char c) { return c == '\x7f'; }),
            "a command that fails leaves the room alone");
}

} // namespace

int csi_get(int /*item*/, int size, int* returned, void* value) {
    std::memcpy(value, &cameraState, static_cast<std::size_t>(size));
    *returned = size;
    return cameraFails ? -1 : 0;
}

// Handler, flags (1: trace, 2: no room, 4: camera fails, 8: little room), state, query up to a zero byte, replies.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const Handler handler = handlers[input.byte() % handlerCount];
    const std::uint8_t flags = input.byte();
    cameraState = input.byte() % 3;
    cameraFails = (flags & 4) != 0;
    g_logLevel = (flags & 1) != 0 ? UTIL_LOG_TRACE : UTIL_LOG_ERROR;
    std::vector<char> response((flags & 8) != 0 ? input.byte() + 1U : 4096U, '\x7f');
    const std::string query = input.line();

    int requests = 0;
    queues().waiting.clear();
    queues().sent = [&](const Bytes& request) {
        require(request.size() <= BLE_MSG_SIZE, "a request fits the queue");
        require(++requests <= 2 * 255, "a command ends");
        answer(request, input);
        return true;
    };
    require(ble_interface_open() == 0, "the link opens");
    const bool room = (flags & 2) == 0;
    const int result = handler(query.c_str(), room ? response.data() : nullptr, static_cast<int>(response.size()));
    checkAnswer(result, response);
    require(ble_interface_close() == 0 && queues().opened == 0, "the link closes");
    return 0;
}
