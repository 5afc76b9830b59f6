/*
 * What the camera knows of itself, item by item, and which of them fail at the moment.
 *
 * identity: model_number (0 to 255), model_name, firmware_version, serial_number, board_type, ap_mac, ap_ssid
 *           (texts of at most 4096 bytes without a zero byte), ap_has_default_credentials (flag)
 * state:    recording, ap_pairing_state (32-bit numbers)
 *
 * Besides the items, four services can be made to fail: uri_interface_open, uri_interface_close, analytics_get,
 * analytics_clear.
 */
#pragma once

#include "controlProtocol.h"
#include "jsonReader.h"
#include "scenario.h"

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace zvcamera {

enum class ItemKind { Byte, Number, Flag, Text };

struct ItemRow {
    const char* name;
    const char* section;
    ItemKind kind;
    zvcontrol::Operation operation; // GetState or GetItem: which of the libraries asks for it
    std::int32_t number;            // its number there
    const char* initial;
};

class CameraState {
public:
    // Defaults, changed by the scenario's parts "identity" and "state". Throws JsonError.
    explicit CameraState(const Scenario& scenario);

    // The row of an item that a library asks for; null when there is none.
    static const ItemRow* find(zvcontrol::Operation operation, std::int32_t number);
    // The row of a name; throws JsonError when there is none.
    static const ItemRow& find(const std::string& name);

    const Json& value(const ItemRow& row) const { return values_.at(row.name); }
    // As it goes to the library: one byte, four, or the text.
    std::vector<unsigned char> bytes(const ItemRow& row) const;
    // Takes a value of the item's type, or a text that stands for one ("13", "true"). Throws JsonError.
    void set(const ItemRow& row, const Json& value);

    // name: an item or a service; throws JsonError for another one. code: negative.
    void fail(const std::string& name, std::int32_t code);
    // name: as above, or "all".
    void unfail(const std::string& name);
    // The code that an item or a service fails with; 0 when it works.
    std::int32_t failure(const std::string& name) const;

    // {"identity":{...},"state":{...},"failures":{name:code}}
    Json toJson() const;

private:
    std::map<std::string, Json> values_;
    std::map<std::string, std::int32_t> failures_;
};

} // namespace zvcamera
