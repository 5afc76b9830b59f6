#include "radio.h"

#include <algorithm>

namespace zvcamera {
namespace {

constexpr Millis rssiInterval = 1000;
constexpr Millis findEarliest = 200;
constexpr Millis findSpread = 1800;

} // namespace

void Radio::advance(Millis now) {
    advanceScan(now);
    advancePairing(now);
    advanceConnections(now);
}

void Radio::startScan(std::uint8_t mode, Millis now) {
    scan_.running = true;
    scan_.mode = mode;
    scan_.since = now;
    ++scan_.rounds;
    scan_.found.clear();
    rebuildScan();
}

void Radio::stopScan(Millis now) {
    advanceScan(now);
    scan_.running = false;
    scan_.mode = 0;
}

void Radio::rebuildScan(std::optional<std::uint8_t> id) {
    scan_.listId = id ? *id : static_cast<std::uint8_t>(scan_.listId + 1);
}

void Radio::advanceScan(Millis now) {
    if (!scan_.running) {
        return;
    }
    const Millis end = settings.scanTime > 0 ? std::min(now, scan_.since + settings.scanTime) : now;
    findMore(end);
    loseOld(end);
    if (settings.scanTime > 0 && now >= scan_.since + settings.scanTime) {
        scan_.running = false;
        scan_.mode = 0;
    }
}

Millis Radio::findTime(const Device& device, Millis now) const {
    const Millis after =
        device.foundAfter >= 0
            ? device.foundAfter
            : findEarliest +
                  static_cast<Millis>(spread(settings.seed, number(device.address), scan_.rounds) % findSpread);
    return std::max(scan_.since, device.inRangeSince(now)) + after;
}

void Radio::findMore(Millis now) {
    std::vector<std::pair<Millis, const Device*>> fresh;
    for (const Device& device : devices_) {
        if (!device.inRange(now)) {
            continue;
        }
        const auto known = std::find_if(scan_.found.begin(), scan_.found.end(), [&](const Scan::Found& found) {
            return found.entry.address == device.address;
        });
        if (known != scan_.found.end()) {
            *known = {entryOf(device, now), now};
        } else if (const Millis time = findTime(device, now); time <= now) {
            fresh.emplace_back(time, &device);
        }
    }
    // New devices join the end of the list in the order in which they were heard. So the pages before them and the
    // list's id stay as they are.
    std::stable_sort(fresh.begin(), fresh.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    for (const auto& [time, device] : fresh) {
        if (scan_.found.size() >= deviceLimit) {
            return;
        }
        scan_.found.push_back({entryOf(*device, now), now});
    }
}

void Radio::loseOld(Millis now) {
    const std::size_t lost =
        std::erase_if(scan_.found, [&](const Scan::Found& found) { return now - found.seen > settings.lostTime; });
    if (lost > 0) {
        rebuildScan();
    }
}

ScanEntry Radio::entryOf(const Device& device, Millis now) const {
    return {device.address, device.addressType, rssi(device, now), device.name, device.uuid16, device.uuid128};
}

std::int8_t Radio::rssi(const Device& device, Millis now) const {
    const auto second = static_cast<std::uint64_t>(now / rssiInterval);
    const std::uint64_t steps = static_cast<std::uint64_t>(device.rssiVariation) * 2 + 1;
    const int offset = static_cast<int>(spread(settings.seed, number(device.address), second) % steps);
    return static_cast<std::int8_t>(std::clamp(device.rssi + offset - device.rssiVariation, rssiLow, rssiHigh));
}

Status Radio::startPairing(const Address& address, std::uint8_t addressType, Millis now) {
    if (pairing_.running()) {
        return Status::Busy;
    }
    if (!whitelist.hasRoom(address, settings.whitelistSlots)) {
        return Status::NoRoom;
    }
    pairing_ = {PairingStatus::Pairing, address, addressType, now};
    return Status::Ok;
}

Status Radio::cancelPairing(const Address& address, std::uint8_t addressType, Millis now) {
    advancePairing(now);
    if (!pairing_.running() || pairing_.address != address || pairing_.addressType != addressType) {
        return Status::NotFound;
    }
    endPairing(PairingStatus::Cancelled, now);
    return Status::Ok;
}

bool Radio::endPairing(PairingStatus end, Millis now) {
    if (!pairing_.running()) {
        return false;
    }
    if (end == PairingStatus::Paired) {
        const Device* device = findDevice(pairing_.address);
        Slot slot;
        slot.address = pairing_.address;
        slot.addressType = pairing_.addressType;
        if (device != nullptr) {
            slot.name = nameForSlot(device->name);
            slot.mitm = device->mitm;
            slot.connected = device->inRange(now);
        }
        slot.autoConnect = autoConnect != 0;
        if (whitelist.take(slot, settings.whitelistSlots) == nullptr) {
            end = PairingStatus::Failed;
        }
    }
    pairing_.status = end;
    return true;
}

void Radio::advancePairing(Millis now) {
    if (!pairing_.running()) {
        return;
    }
    const Millis elapsed = now - pairing_.since;
    const Device* device = findDevice(pairing_.address);
    // A device of another address type is another device.
    const bool answers = device != nullptr && device->addressType == pairing_.addressType && device->inRange(now) &&
                         device->pairing != PairingOutcome::Silent;
    if (answers && elapsed >= (device->pairingTime >= 0 ? device->pairingTime : settings.pairingTime)) {
        endPairing(device->pairing == PairingOutcome::Success ? PairingStatus::Paired : PairingStatus::Failed, now);
    } else if (elapsed >= settings.pairingTimeout) {
        endPairing(PairingStatus::TimedOut, now);
    }
}

void Radio::advanceConnections(Millis now) {
    for (Slot& slot : whitelist.slots()) {
        const Device* device = slot.inUse ? findDevice(slot.address) : nullptr;
        if (device == nullptr) { // its range is unknown: "connected" stays as it was set
            slot.connectAt.reset();
            continue;
        }
        const bool near = device->inRange(now);
        slot.connected = slot.connected && near;
        if (!near || slot.connected || !slot.autoConnect || autoConnect == 0) {
            slot.connectAt.reset();
            continue;
        }
        if (!slot.connectAt) {
            slot.connectAt = now + settings.connectTime;
        }
        if (now >= *slot.connectAt) {
            slot.connected = true;
            slot.connectAt.reset();
        }
    }
}

const Device* Radio::findDevice(const Address& address) const {
    const auto found =
        std::find_if(devices_.begin(), devices_.end(), [&](const Device& device) { return device.address == address; });
    return found == devices_.end() ? nullptr : &*found;
}

void Radio::setDevice(Device device, Millis now) {
    const auto found = std::find_if(devices_.begin(), devices_.end(),
                                    [&](const Device& one) { return one.address == device.address; });
    const bool wasInRange = found != devices_.end() && found->inRange(now);
    device.since = wasInRange ? found->inRangeSince(now) : now;
    if (found != devices_.end()) {
        *found = std::move(device);
        return;
    }
    if (devices_.size() >= deviceLimit) {
        throw Refusal("more than the " + std::to_string(deviceLimit) + " devices that a list can have");
    }
    devices_.push_back(std::move(device));
}

bool Radio::removeDevice(const Address& address) {
    if (Slot* slot = whitelist.find(address)) {
        slot->connected = false;
    }
    return std::erase_if(devices_, [&](const Device& device) { return device.address == address; }) > 0;
}

} // namespace zvcamera
