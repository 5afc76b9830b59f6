/*
 * The radio itself, without queues and clocks: scanning, pairing, whitelist and connections as time goes by.
 *
 * The caller tells every operation the time; advance() does what has become due by then. The same settings, devices,
 * operations and times always give the same answers.
 */
#pragma once

#include "bleSettings.h"
#include "whitelist.h"

#include <optional>
#include <vector>

namespace zvcamera {

struct Scan {
    bool running = false;
    std::uint8_t mode = 0;
    Millis since = 0;
    std::uint8_t listId = 0;
    std::uint64_t rounds = 0; // scans so far
    struct Found {
        ScanEntry entry;
        Millis seen; // last
    };
    std::vector<Found> found;
};

struct Pairing {
    PairingStatus status = PairingStatus::Idle;
    Address address{};
    std::uint8_t addressType = 0;
    Millis since = 0;
    std::optional<std::uint8_t> byHand = std::nullopt; // what clients are told instead of the status

    bool running() const { return status == PairingStatus::Pairing; }
    std::uint8_t told() const { return byHand.value_or(static_cast<std::uint8_t>(status)); }
};

class Radio {
public:
    static constexpr std::size_t deviceLimit = listLimit;

    Settings settings;
    std::uint8_t autoConnect = 1; // of the configuration; 0: no device is connected to by itself
    Whitelist whitelist;

    void advance(Millis now);

    void startScan(std::uint8_t mode, Millis now); // a new list
    void stopScan(Millis now);                     // its list stays
    void rebuildScan(std::optional<std::uint8_t> id = std::nullopt);
    const Scan& scan() const { return scan_; }

    Status startPairing(const Address& address, std::uint8_t addressType, Millis now);
    Status cancelPairing(const Address& address, std::uint8_t addressType, Millis now);
    // Ends the pairing under way as if the device had ended it; false when there is none.
    bool endPairing(PairingStatus end, Millis now);
    // What clients are told until the next pairing starts; without a value: the status of the pairing again.
    void setPairingStatus(std::optional<std::uint8_t> status) { pairing_.byHand = status; }
    const Pairing& pairing() const { return pairing_; }

    const std::vector<Device>& devices() const { return devices_; }
    const Device* findDevice(const Address& address) const;
    // Adds a device, or replaces the one of its address, at the time `now`. Throws Refusal when there are too many.
    void setDevice(Device device, Millis now = 0);
    bool removeDevice(const Address& address);

    // Signal strength of a device at a time.
    std::int8_t rssi(const Device& device, Millis now) const;

private:
    void advanceScan(Millis now);
    void findMore(Millis now);
    void loseOld(Millis now);
    void advancePairing(Millis now);
    void advanceConnections(Millis now);
    Millis findTime(const Device& device, Millis now) const;
    ScanEntry entryOf(const Device& device, Millis now) const;

    std::vector<Device> devices_;
    Scan scan_;
    Pairing pairing_;
};

} // namespace zvcamera
