#include "radioCommands.h"

#include <algorithm>

namespace zvcamera {
namespace {

// A page of `entries`: as many of those asked for as the page limit and the end of the list allow. A start behind the
// end gives an empty page with that index.
template<typename Entries, typename ToEntry>
CommandResult page(std::uint8_t listId, const Entries& entries, ByteSpan data, std::size_t limit, ToEntry toEntry) {
    const std::size_t start = data[1];
    const std::size_t left = entries.size() > start ? entries.size() - start : 0;
    const std::size_t count = std::min({left, static_cast<std::size_t>(data[2]), limit});
    CommandResult result;
    result.data = {listId, static_cast<std::uint8_t>(entries.size()), data[1], static_cast<std::uint8_t>(count)};
    for (std::size_t i = start; i < start + count; ++i) {
        appendEntry(result.data, toEntry(entries[i]));
    }
    return result;
}

CommandResult configureWhitelist(Radio& radio, ByteSpan data) {
    const Address address = addressAt(data, 3);
    if (data[1] == whitelistRemove) {
        return {radio.whitelist.remove(address) ? Status::Ok : Status::NotFound, {}};
    }
    if (data[1] != whitelistAutoConnect) {
        return {Status::BadParameters, {}};
    }
    Slot* slot = radio.whitelist.find(address);
    if (slot == nullptr) {
        return {Status::NotFound, {}};
    }
    slot->autoConnect = data[2] != 0;
    radio.whitelist.changed();
    return {};
}

CommandResult run(Radio& radio, BleCode code, ByteSpan data, Millis now) {
    switch (code) {
    case BleCode::Scan:
        if (data[1] == 0) {
            radio.stopScan(now);
        } else {
            radio.startScan(data[1], now);
        }
        return {};
    case BleCode::PairStart:
        return {radio.startPairing(addressAt(data, 1), data[7], now), {}};
    case BleCode::PairCancel:
        return {radio.cancelPairing(addressAt(data, 1), data[7], now), {}};
    case BleCode::ScanList:
        return page(radio.scan().listId, radio.scan().found, data, radio.settings.scanPage,
                    [](const Scan::Found& found) { return found.entry; });
    case BleCode::WhitelistList:
        return page(radio.whitelist.listId(), radio.whitelist.slots(), data, radio.settings.whitelistPage,
                    [](const Slot& slot) {
                        return WhitelistEntry{slot.address, slot.flags(), slot.name};
                    });
    case BleCode::WhitelistConfigure:
        return configureWhitelist(radio, data);
    case BleCode::ConfigSet:
        radio.autoConnect = data[2];
        radio.whitelist.changed();
        return {};
    case BleCode::PairStatus:
        return {Status::Ok, {radio.pairing().told()}};
    case BleCode::ConfigGet:
        return {Status::Ok, {radio.autoConnect}};
    }
    return {Status::UnknownCommand, {}};
}

} // namespace

CommandResult runCommand(Radio& radio, ByteSpan data, Millis now) {
    radio.advance(now);
    const CommandInfo* info = data.empty() ? nullptr : findCommand(data[0]);
    if (info == nullptr) {
        return {Status::UnknownCommand, {}};
    }
    if (data.size() != info->dataSize) {
        return {Status::BadParameters, {}};
    }
    return run(radio, info->code, data, now);
}

void rebuildList(Radio& radio, const std::string& command, std::uint8_t by) {
    const CommandInfo* info = findCommand(std::string_view(command));
    if (info != nullptr && info->code == BleCode::ScanList) {
        radio.rebuildScan(static_cast<std::uint8_t>(radio.scan().listId + by));
    } else if (info != nullptr && info->code == BleCode::WhitelistList) {
        radio.whitelist.rebuild(static_cast<std::uint8_t>(radio.whitelist.listId() + by));
    }
}

} // namespace zvcamera
