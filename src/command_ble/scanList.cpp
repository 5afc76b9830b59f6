// The devices that the last scan found.
#include "bleLog.h"
#include "command_ble.h"
#include "deviceAddress.h"
#include "listEntry.h"
#include "pagedList.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

// Offsets within an entry of 82 bytes. Name and UUID lists stand in its last 68 bytes; their offsets count from the
// start of the entry.
constexpr std::size_t addressType = 6;
constexpr std::size_t rssi = 7;
constexpr std::size_t nameOffset = 8;
constexpr std::size_t nameSize = 9;
constexpr std::size_t uuid128Offset = 10;
constexpr std::size_t uuid128Length = 11;
constexpr std::size_t uuid16Offset = 12;
constexpr std::size_t uuid16Length = 13;

constexpr int uuid16Size = 2;
constexpr int uuid128Size = 16;

// Fixed: clients get a device also when its list has a bad length, with the UUIDs that can be read.
std::string uuid16Items(BleEntry entry, const std::string& address) {
    const std::uint8_t length = entry[uuid16Length];
    if (entry[uuid16Offset] != 0 && length % uuid16Size != 0) {
        BLE_LOG(UTIL_LOG_ERROR, "Invalid UUID16_Len %d  on %s", length, address.c_str());
    }
    return uuidItems(entry, entry[uuid16Offset], length, uuid16Size);
}

std::string uuid128Items(BleEntry entry, const std::string& address) {
    const std::uint8_t length = entry[uuid128Length];
    if (entry[uuid128Offset] != 0 && length % uuid128Size != 0) {
        BLE_LOG(UTIL_LOG_ERROR, "Invalid UUID_128bit_Len %d on %s", length, address.c_str());
    }
    return uuidItems(entry, entry[uuid128Offset], length, uuid128Size);
}

void appendDevice(std::string& text, BleEntry entry) {
    const std::string address = addressText(entry.data());
    text += "{\"address\":\"" + address;
    text += "\",\"address_type\":" + std::to_string(entry[addressType]);
    text += ",\"rssi\":" + std::to_string(static_cast<std::int8_t>(entry[rssi]));
    text += ",\"name\":\"";
    appendName(text, entry, entry[nameOffset], entry[nameSize]);
    text += '"';
    if (const std::string items = uuid16Items(entry, address); !items.empty()) {
        text += ",\"profile_uuid16\":[" + items + "]";
    }
    if (const std::string items = uuid128Items(entry, address); !items.empty()) {
        text += ",\"profile_uuid128\":[" + items + "]";
    }
    text += '}';
}

class ScanList : public BleListSink {
public:
    // Starts the document afresh: the devices of an attempt that was abandoned are dropped.
    void begin(const BleListHeader& header) override {
        text_ = "\n{\"list_id\":" + std::to_string(header.id) + ",\"total\":" + std::to_string(header.total) +
                ",\"index\":" + std::to_string(header.index) + ",\"index_count\":" + std::to_string(header.wanted) +
                ",\"device_array\":[";
        first_ = true;
    }

    bool add(const BlePage& page) override {
        constexpr std::size_t size = entrySize(BleList::ScanResults);
        for (std::size_t i = 0; i < static_cast<std::size_t>(page.count); ++i) {
            if (!first_) {
                text_ += ',';
            }
            first_ = false;
            appendDevice(text_, page.bytes.subspan(i * size));
        }
        return true;
    }

    std::string document() const { return text_ + "]\n}\n"; }

private:
    std::string text_;
    bool first_ = true;
};

} // namespace

int ble_scan_list(const char* params, char* response, int responseSize) {
    ScanList list;
    return answerList(BleList::ScanResults, params, list, response, responseSize);
}
