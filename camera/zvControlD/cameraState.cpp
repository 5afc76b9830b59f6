#include "cameraState.h"

#include "csi.h"

#include <algorithm>
#include <charconv>

namespace zvcamera {
namespace {

using zvcontrol::Operation;
using zvcontrol::State;

constexpr ItemRow identityRow(const char* name, ItemKind kind, State state, const char* initial) {
    return {name, "identity", kind, Operation::GetState, static_cast<std::int32_t>(state), initial};
}
constexpr ItemRow stateRow(const char* name, int item, const char* initial) {
    return {name, "state", ItemKind::Number, Operation::GetItem, item, initial};
}

constexpr ItemRow rows[] = {
    identityRow("model_number", ItemKind::Byte, State::ModelNumber, "13"),
    identityRow("model_name", ItemKind::Text, State::ModelName, "Simulated Camera"),
    identityRow("firmware_version", ItemKind::Text, State::FirmwareVersion, "SC1.01.01.00.00"),
    identityRow("serial_number", ItemKind::Text, State::SerialNumber, "C0000000000001"),
    identityRow("board_type", ItemKind::Text, State::BoardType, "0x05"),
    identityRow("ap_mac", ItemKind::Text, State::ApMac, "02005e000001"),
    identityRow("ap_ssid", ItemKind::Text, State::ApSsid, "SC00000001"),
    identityRow("ap_has_default_credentials", ItemKind::Flag, State::ApHasDefaultCredentials, "true"),
    stateRow("recording", CSI_RECORDING, "0"),
    stateRow("ap_pairing_state", CSI_AP_PAIRING_STATE, "0"),
};

// What can be made to fail without being an item of the camera's state.
constexpr const char* services[] = {"uri_interface_open", "uri_interface_close", "analytics_get", "analytics_clear"};

Json parseNumber(const ItemRow& row, const Json& value, std::int64_t low, std::int64_t high) {
    std::int64_t number = 0;
    bool valid = value.is_number_integer() && !(value.is_number_unsigned() && value.get<std::uint64_t>() > INT64_MAX);
    if (valid) {
        number = value.get<std::int64_t>();
    } else if (value.is_string()) {
        const auto& text = value.get_ref<const std::string&>();
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        valid = error == std::errc() && end == text.data() + text.size() && !text.empty();
    }
    if (!valid || number < low || number > high) {
        throw JsonError(std::string(row.name) + ": must be a whole number from " + std::to_string(low) + " to " +
                        std::to_string(high));
    }
    return number;
}

Json parseFlag(const ItemRow& row, const Json& value) {
    const std::string text = value.is_string() ? value.get<std::string>() : toLine(value);
    if (text == "true" || text == "1") {
        return true;
    }
    if (text == "false" || text == "0") {
        return false;
    }
    throw JsonError(std::string(row.name) + ": must be true or false");
}

Json parseText(const ItemRow& row, const Json& value) {
    if (!value.is_string()) {
        throw JsonError(std::string(row.name) + ": must be a text");
    }
    const auto& text = value.get_ref<const std::string&>();
    if (text.size() > zvcontrol::maxData || text.find('\0') != std::string::npos) {
        throw JsonError(std::string(row.name) + ": must be a text of at most " + std::to_string(zvcontrol::maxData) +
                        " bytes without a zero byte");
    }
    return value;
}

Json parseValue(const ItemRow& row, const Json& value) {
    switch (row.kind) {
    case ItemKind::Byte:
        return parseNumber(row, value, 0, 255);
    case ItemKind::Number:
        return parseNumber(row, value, INT32_MIN, INT32_MAX);
    case ItemKind::Flag:
        return parseFlag(row, value);
    case ItemKind::Text:
        return parseText(row, value);
    }
    return nullptr;
}

void checkName(const std::string& name) {
    const auto named = [&](const char* known) { return name == known; };
    if (std::none_of(std::begin(services), std::end(services), named)) {
        CameraState::find(name);
    }
}

} // namespace

CameraState::CameraState(const Scenario& scenario) {
    for (const ItemRow& row : rows) {
        set(row, row.initial);
    }
    for (const char* section : {"identity", "state"}) {
        JsonReader reader(scenario.part(section), section);
        for (const ItemRow& row : rows) {
            const Json* given = section == std::string(row.section) ? reader.any(row.name) : nullptr;
            if (given != nullptr) {
                try {
                    set(row, *given);
                } catch (const JsonError& error) {
                    throw JsonError(std::string(section) + "." + error.what());
                }
            }
        }
        reader.finish();
    }
}

const ItemRow* CameraState::find(Operation operation, std::int32_t number) {
    for (const ItemRow& row : rows) {
        if (row.operation == operation && row.number == number) {
            return &row;
        }
    }
    return nullptr;
}

const ItemRow& CameraState::find(const std::string& name) {
    for (const ItemRow& row : rows) {
        if (name == row.name) {
            return row;
        }
    }
    throw JsonError("unknown item " + name);
}

std::vector<unsigned char> CameraState::bytes(const ItemRow& row) const {
    const Json& item = value(row);
    switch (row.kind) {
    case ItemKind::Byte:
        return {item.get<unsigned char>()};
    case ItemKind::Flag:
        return {static_cast<unsigned char>(item.get<bool>() ? 1 : 0)};
    case ItemKind::Number: {
        std::vector<unsigned char> number(4);
        zvcontrol::putNumber(item.get<std::int32_t>(), std::span<unsigned char, 4>(number));
        return number;
    }
    case ItemKind::Text: {
        const auto& text = item.get_ref<const std::string&>();
        return {text.begin(), text.end()};
    }
    }
    return {};
}

void CameraState::set(const ItemRow& row, const Json& value) {
    values_[row.name] = parseValue(row, value);
}

void CameraState::fail(const std::string& name, std::int32_t code) {
    checkName(name);
    if (code >= 0) {
        throw JsonError("a failure code is negative");
    }
    failures_[name] = code;
}

void CameraState::unfail(const std::string& name) {
    if (name == "all") {
        failures_.clear();
        return;
    }
    checkName(name);
    failures_.erase(name);
}

std::int32_t CameraState::failure(const std::string& name) const {
    const auto found = failures_.find(name);
    return found == failures_.end() ? 0 : found->second;
}

Json CameraState::toJson() const {
    Json json = {{"failures", Json::object()}};
    for (const ItemRow& row : rows) {
        json[row.section][row.name] = value(row);
    }
    for (const auto& [name, code] : failures_) {
        json["failures"][name] = code;
    }
    return json;
}

} // namespace zvcamera
