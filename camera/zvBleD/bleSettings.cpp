#include "bleSettings.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

namespace zvcamera {
namespace {

constexpr Millis longest = 365LL * 24 * 3600 * 1000;
constexpr int mostVariation = 100;

template<typename Value>
struct Word {
    const char* text;
    Value value;
};
constexpr std::array<Word<PairingOutcome>, 3> outcomes{
    {{"success", PairingOutcome::Success}, {"failure", PairingOutcome::Failure}, {"silent", PairingOutcome::Silent}}};
constexpr std::array<Word<Presence>, 3> presences{
    {{"scheduled", Presence::Scheduled}, {"present", Presence::Present}, {"away", Presence::Away}}};

template<typename Words, typename Value>
void readWord(JsonReader& reader, const char* key, const Words& words, Value& value) {
    std::string text;
    if (!reader.text(key, text)) {
        return;
    }
    std::string known;
    for (const auto& word : words) {
        if (text == word.text) {
            value = word.value;
            return;
        }
        known += std::string(known.empty() ? "" : ", ") + word.text;
    }
    reader.fail(key, "must be one of " + known);
}

template<typename Words, typename Value>
const char* wordOf(const Words& words, Value value) {
    for (const auto& word : words) {
        if (word.value == value) {
            return word.text;
        }
    }
    return "?";
}

void readUuids(JsonReader& reader, const std::string& key, std::size_t size, Bytes& uuids) {
    Bytes read;
    const bool there = reader.array(key, [&](const Json& item, const std::string& where) {
        try {
            const Bytes one = parseUuid(item.get<std::string>(), size);
            read.insert(read.end(), one.begin(), one.end());
        } catch (const std::exception& error) {
            throw JsonError(where + ": " + error.what());
        }
    });
    if (there) {
        uuids = std::move(read);
    }
}

} // namespace

Address readAddress(JsonReader& reader, const std::string& key) {
    std::string text;
    if (!reader.text(key, text)) {
        reader.fail(key, "missing");
    }
    try {
        return parseAddress(text);
    } catch (const std::invalid_argument& error) {
        reader.fail(key, error.what());
    }
}

bool Device::inRange(Millis now) const {
    switch (presence) {
    case Presence::Present:
        return true;
    case Presence::Away:
        return false;
    case Presence::Scheduled:
        break;
    }
    if (now < from) {
        return false;
    }
    const Millis inside = period > 0 ? (now - from) % period : now - from;
    return to == 0 || inside < to - from;
}

Millis Device::inRangeSince(Millis now) const {
    if (presence == Presence::Present) {
        return since;
    }
    const Millis begun = period > 0 && to != 0 && to - from < period ? now - (now - from) % period : from;
    return std::max(begun, since);
}

void readSettings(JsonReader& reader, Settings& settings) {
    reader.number("seed", settings.seed, 0, INT64_MAX);
    reader.number("scan_page", settings.scanPage, 1, static_cast<std::int64_t>(scanPageLimit));
    reader.number("whitelist_page", settings.whitelistPage, 1, static_cast<std::int64_t>(whitelistPageLimit));
    reader.number("whitelist_slots", settings.whitelistSlots, 0, listLimit);
    reader.number("scan_ms", settings.scanTime, 0, longest);
    reader.number("lost_ms", settings.lostTime, 0, longest);
    reader.number("pairing_ms", settings.pairingTime, 0, longest);
    reader.number("pairing_timeout_ms", settings.pairingTimeout, 0, longest);
    reader.number("connect_ms", settings.connectTime, 0, longest);
}

void readDevice(const Json& json, const std::string& where, Device& device) {
    JsonReader reader(json, where);
    device.address = readAddress(reader, "address");
    reader.byte("address_type", device.addressType);
    reader.text("name", device.name);
    reader.number("rssi", device.rssi, rssiLow, rssiHigh);
    reader.number("rssi_variation", device.rssiVariation, 0, mostVariation);
    readUuids(reader, "uuid16", uuid16Size, device.uuid16);
    readUuids(reader, "uuid128", uuid128Size, device.uuid128);
    readWord(reader, "presence", presences, device.presence);
    reader.number("from_ms", device.from, 0, longest);
    reader.number("to_ms", device.to, 0, longest);
    reader.number("period_ms", device.period, 0, longest);
    reader.number("found_after_ms", device.foundAfter, -1, longest);
    readWord(reader, "pairing", outcomes, device.pairing);
    reader.number("pairing_ms", device.pairingTime, -1, longest);
    reader.flag("mitm", device.mitm);
    reader.finish();
    if (device.name.size() + device.uuid16.size() + device.uuid128.size() > scanStorage) {
        throw JsonError(where + ": name and UUIDs take more than the " + std::to_string(scanStorage) +
                        " bytes that a scan entry holds");
    }
    if (device.to != 0 && device.to < device.from) {
        reader.fail("to_ms", "lies before from_ms");
    }
}

Json toJson(const Settings& settings) {
    return {{"seed", settings.seed},
            {"scan_page", settings.scanPage},
            {"whitelist_page", settings.whitelistPage},
            {"whitelist_slots", settings.whitelistSlots},
            {"scan_ms", settings.scanTime},
            {"lost_ms", settings.lostTime},
            {"pairing_ms", settings.pairingTime},
            {"pairing_timeout_ms", settings.pairingTimeout},
            {"connect_ms", settings.connectTime}};
}

Json uuidList(const Bytes& uuids, std::size_t size) {
    Json list = Json::array();
    for (ByteSpan rest = uuids; rest.size() >= size; rest = rest.subspan(size)) {
        list.push_back(uuidText(rest.first(size)));
    }
    return list;
}

Json toJson(const Device& device) {
    return {{"address", toText(device.address)},
            {"address_type", device.addressType},
            {"name", device.name},
            {"rssi", device.rssi},
            {"rssi_variation", device.rssiVariation},
            {"uuid16", uuidList(device.uuid16, uuid16Size)},
            {"uuid128", uuidList(device.uuid128, uuid128Size)},
            {"presence", wordOf(presences, device.presence)},
            {"from_ms", device.from},
            {"to_ms", device.to},
            {"period_ms", device.period},
            {"found_after_ms", device.foundAfter},
            {"pairing", wordOf(outcomes, device.pairing)},
            {"pairing_ms", device.pairingTime},
            {"mitm", device.mitm}};
}

std::uint64_t number(const Address& address) {
    std::uint64_t value = 0;
    for (const std::uint8_t byte : address) {
        value = value << 8 | byte;
    }
    return value;
}

std::uint64_t spread(std::uint64_t seed, std::uint64_t a, std::uint64_t b) {
    std::uint64_t value = seed;
    for (const std::uint64_t part : {a, b}) {
        value += 0x9e3779b97f4a7c15U + part;
        value = (value ^ value >> 30) * 0xbf58476d1ce4e5b9U;
        value = (value ^ value >> 27) * 0x94d049bb133111ebU;
        value ^= value >> 31;
    }
    return value;
}

} // namespace zvcamera
