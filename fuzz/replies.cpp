// The checks of a reply.
#include "bleLink.h"
#include "bleReply.h"
#include "fuzzInput.h"
#include "zvLog.h"

#include <optional>

namespace {

using zvfuzz::Bytes;
using zvfuzz::Input;
using zvfuzz::require;

constexpr std::size_t header = 4;

// The data of a reply's response element; nothing when the message is malformed or is no reply.
std::optional<Bytes> responseOf(const Bytes& message) {
    const std::size_t total = message.size() < header ? 0 : static_cast<std::size_t>(message[0]) * 256 + message[1];
    if (total < header || total > message.size() || message[3] != 3) {
        return std::nullopt;
    }
    std::optional<Bytes> response;
    for (std::size_t at = header; at < total;) {
        if (total - at < header) {
            return std::nullopt;
        }
        const std::size_t length = static_cast<std::size_t>(message[at + 1]) * 256 + message[at + 2];
        const std::size_t end = at + header + length;
        if (end > total || (message[at + 3] == 238 && at + header != total)) {
            return std::nullopt;
        }
        if (message[at + 3] == 69 && !response) {
            response.emplace(message.begin() + static_cast<std::ptrdiff_t>(at + header),
                             message.begin() + static_cast<std::ptrdiff_t>(end));
        }
        at = end;
    }
    return response;
}

} // namespace

// The room for the data (2 bytes), flags (1: trace, 2: data take the reply's own place), the reply.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const auto room = static_cast<std::uint16_t>(input.number() % (BLE_MSG_SIZE + 1));
    const std::uint8_t flags = input.byte();
    Bytes reply = input.bytes(BLE_MSG_SIZE);
    g_logLevel = (flags & 1) != 0 ? UTIL_LOG_TRACE : UTIL_LOG_ERROR;

    const auto response = responseOf(reply);
    const bool good = response && !response->empty() && response->front() == 0;
    const auto length = static_cast<std::uint16_t>(reply.size());
    require(ble_check_response(reply.data(), length) == (good ? 0 : -1), "the status of a reply");

    const bool fits = good && response->size() <= room;
    const bool inPlace = (flags & 2) != 0;
    Bytes place = inPlace ? reply : Bytes(room, 0xA5);
    place.resize(std::max<std::size_t>(place.size(), room));
    const Bytes before = place;
    std::uint16_t count = room;
    const int result = ble_get_response_data(inPlace ? place.data() : reply.data(), length, place.data(), &count);
    require(result == (fits ? 0 : -1), "data that fit are copied");
    if (!fits) {
        require(count == room && place == before, "a refused reply changes nothing");
        return 0;
    }
    require(count == response->size() - 1, "the data's length");
    require(std::equal(response->begin() + 1, response->end(), place.begin()), "the data");
    return 0;
}
