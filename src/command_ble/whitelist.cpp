// The whitelist: the devices that are paired with the camera, all of them or one.
#include "bleLog.h"
#include "bleQuery.h"
#include "bleResponse.h"
#include "command_ble.h"
#include "deviceAddress.h"
#include "listEntry.h"
#include "pagedList.h"
#include "zvErrno.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>

namespace {

// Offsets within an entry of 41 bytes. The name stands in its last 31 bytes; its offset counts from the start of the
// entry.
constexpr std::size_t flagsOffset = 6; // 16 bits, low byte first
constexpr std::size_t nameOffset = 8;
constexpr std::size_t nameSize = 9;

constexpr unsigned flagConnected = 0x0002;
constexpr unsigned flagMitmPaired = 0x0008;
constexpr unsigned flagAutoConnect = 0x0010;
constexpr unsigned flagInUse = 0x0040;

unsigned flags(BleEntry entry) {
    return entry[flagsOffset] | static_cast<unsigned>(entry[flagsOffset + 1]) << 8;
}

bool inUse(BleEntry entry) {
    return (flags(entry) & flagInUse) != 0;
}

const char* digit(BleEntry entry, unsigned flag) {
    return (flags(entry) & flag) != 0 ? "1" : "0";
}

void appendDevice(std::string& text, BleEntry entry) {
    text += "{\"address\":\"" + addressText(entry.data());
    text += "\",\"name\":\"";
    appendName(text, entry, entry[nameOffset], entry[nameSize]);
    text += '"';
    text += ",\"mitm_paired\":";
    text += digit(entry, flagMitmPaired);
    text += ",\"auto_connect\":";
    text += digit(entry, flagAutoConnect);
    text += ",\"connected\":";
    text += digit(entry, flagConnected);
    text += '}';
}

BleEntry entryAt(const BlePage& page, int number) {
    return page.bytes.subspan(static_cast<std::size_t>(number) * entrySize(BleList::Whitelist));
}

class Whitelist : public BleListSink {
public:
    // Fixed: clients get the devices of an abandoned attempt too, and no comma between those and the new ones.
    void begin(const BleListHeader& header) override {
        header_ = header;
        skipped_ = 0;
        separator_ = "";
    }

    bool add(const BlePage& page) override {
        for (int i = 0; i < page.count; ++i) {
            const BleEntry entry = entryAt(page, i);
            if (!inUse(entry)) {
                ++skipped_;
                continue;
            }
            devices_ += separator_;
            separator_ = ",";
            appendDevice(devices_, entry);
        }
        return true;
    }

    std::string document() const {
        return "\n{\"list_id\":" + std::to_string(header_.id) +
               ",\"total\":" + std::to_string(header_.total - skipped_) +
               ",\"index\":" + std::to_string(header_.index) +
               ",\"index_count\":" + std::to_string(header_.wanted - skipped_) + ",\"device_array\":[" + devices_ +
               "]\n}\n";
    }

private:
    BleListHeader header_{};
    int skipped_ = 0;
    const char* separator_ = "";
    std::string devices_;
};

// Looks for one device and ends the acquisition once it is found.
class WhitelistDevice : public BleListSink {
public:
    std::uint8_t* address() { return address_; }

    void begin(const BleListHeader&) override {}

    bool add(const BlePage& page) override {
        for (int i = 0; i < page.count; ++i) {
            const BleEntry entry = entryAt(page, i);
            if (inUse(entry) && std::equal(address_, address_ + bleAddressSize, entry.begin())) {
                device_ = "\"device\":";
                appendDevice(device_, entry);
                return false;
            }
        }
        return true;
    }

    std::string document() const { return "\n{" + device_ + "}\n"; }

private:
    std::uint8_t address_[bleAddressSize] = {};
    std::string device_;
};

} // namespace

int ble_whitelist_list(const char* params, char* response, int responseSize) {
    Whitelist list;
    return answerList(BleList::Whitelist, params, list, response, responseSize);
}

int ble_whitelist_device(const char* params, char* response, int responseSize) try {
    std::string value;
    if (!findParameter(params, "address=", value)) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed to parse required param address=");
        return ZV_ERR_INVALID_PARAM;
    }
    WhitelistDevice device;
    if (const int result = readAddress(value, params, device.address()); result != ZV_OK) {
        return result;
    }
    if (const int result = acquireList(BleList::Whitelist, std::nullopt, device); result != ZV_OK) {
        return result;
    }
    return writeResponse(device.document().c_str(), response, responseSize);
} catch (const std::exception&) {
    return listOutOfMemory();
}
