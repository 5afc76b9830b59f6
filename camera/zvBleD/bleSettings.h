// What the radio is like: its settings and the devices around it, as the scenario's "ble" part and the tool give them.
// Times are in milliseconds.
#pragma once

#include "bleProtocol.h"
#include "jsonReader.h"

#include <cstdint>
#include <string>
#include <vector>

namespace zvcamera {

using Millis = std::int64_t; // since the daemon's start, or a length

enum class Presence { Scheduled, Present, Away };
enum class PairingOutcome { Success, Failure, Silent };

constexpr int rssiLow = -127; // dBm
constexpr int rssiHigh = 20;

struct Device {
    Address address{};
    std::uint8_t addressType = 0;
    std::string name;
    int rssi = -60;
    int rssiVariation = 5; // the strength varies by up to this much in both directions, once a second
    Bytes uuid16;          // least significant byte first
    Bytes uuid128;         // likewise
    Presence presence = Presence::Scheduled;
    Millis from = 0;        // scheduled: in range from here on,
    Millis to = 0;          // until here; 0: for ever
    Millis period = 0;      // and again after each period; 0: once
    Millis foundAfter = -1; // how long a scan takes to find it; -1: 200 to 2000, by the seed
    PairingOutcome pairing = PairingOutcome::Success;
    Millis pairingTime = -1; // -1: that of the settings
    bool mitm = false;       // pairs with man-in-the-middle protection
    // In range since then at the earliest, whatever its schedule says. Kept by the radio.
    Millis since = 0;

    bool inRange(Millis now) const;
    // Since when it has been in range without a break. To be called only while it is in range.
    Millis inRangeSince(Millis now) const;
};

struct Settings {
    std::uint64_t seed = 1;
    std::size_t scanPage = scanPageLimit;           // entries of a page at most
    std::size_t whitelistPage = whitelistPageLimit; // likewise
    std::size_t whitelistSlots = 64;                // the list's slots at most
    Millis scanTime = 0;                            // a scan ends by itself after this; 0: only when stopped
    Millis lostTime = 10000;                        // a device not seen for so long leaves the list of a running scan
    Millis pairingTime = 2000;                      // how long a pairing takes
    Millis pairingTimeout = 15000;                  // when a pairing without an answer is given up
    Millis connectTime = 1000;                      // how long a known device is in range before it is connected
};

// Each changes only what the object has keys for; throws JsonError. The caller of readSettings() calls finish().
void readSettings(JsonReader& reader, Settings& settings);
void readDevice(const Json& json, const std::string& where, Device& device);
// The address at a key; throws JsonError when the key is missing or holds no address.
Address readAddress(JsonReader& reader, const std::string& key);

Json toJson(const Settings& settings);
Json toJson(const Device& device);
// The UUIDs of `size` bytes each, as texts.
Json uuidList(const Bytes& uuids, std::size_t size);

// Evenly spread bits, always the same for the same arguments.
std::uint64_t spread(std::uint64_t seed, std::uint64_t a, std::uint64_t b);
std::uint64_t number(const Address& address);

} // namespace zvcamera
