#include "whitelist.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace zvcamera {

std::uint16_t Slot::flags() const {
    const int flags = (inUse ? flagInUse : 0) | (inUse && connected ? flagConnected : 0) | (mitm ? flagMitm : 0) |
                      (autoConnect ? flagAutoConnect : 0);
    return static_cast<std::uint16_t>(flags);
}

std::string nameForSlot(const std::string& name) {
    const auto continues = [&](std::size_t at) { return (static_cast<unsigned char>(name[at]) & 0xc0) == 0x80; };
    std::size_t length = std::min(name.size(), whitelistStorage);
    while (length < name.size() && length > 0 && continues(length)) {
        --length;
    }
    return name.substr(0, length);
}

void Whitelist::rebuild(std::optional<std::uint8_t> id) {
    listId_ = id ? *id : static_cast<std::uint8_t>(listId_ + 1);
}

Slot* Whitelist::find(const Address& address) {
    const auto found = std::find_if(slots_.begin(), slots_.end(),
                                    [&](const Slot& slot) { return slot.inUse && slot.address == address; });
    return found == slots_.end() ? nullptr : &*found;
}

bool Whitelist::hasRoom(const Address& address, std::size_t limit) {
    return find(address) != nullptr || slots_.size() < limit ||
           std::any_of(slots_.begin(), slots_.end(), [](const Slot& slot) { return !slot.inUse; });
}

Slot* Whitelist::take(const Slot& content, std::size_t limit) {
    Slot* slot = find(content.address);
    if (slot == nullptr) {
        if (!hasRoom(content.address, limit)) {
            return nullptr;
        }
        const auto free = std::find_if(slots_.begin(), slots_.end(), [](const Slot& one) { return !one.inUse; });
        slot = free != slots_.end() ? &*free : &slots_.emplace_back();
        rebuild();
    }
    *slot = content;
    slot->inUse = true;
    changed();
    return slot;
}

bool Whitelist::remove(const Address& address) {
    Slot* slot = find(address);
    if (slot == nullptr) {
        return false;
    }
    slot->inUse = false;
    slot->connected = false;
    slot->connectAt.reset();
    rebuild();
    changed();
    return true;
}

void Whitelist::assign(std::vector<Slot> slots) {
    slots_ = std::move(slots);
    rebuild();
    changed();
}

Slot readSlot(const Json& json, const std::string& where, Slot slot) {
    if (json.is_null()) {
        return {};
    }
    JsonReader reader(json, where);
    slot.address = readAddress(reader, "address");
    slot.inUse = true;
    reader.flag("in_use", slot.inUse);
    reader.byte("address_type", slot.addressType);
    reader.text("name", slot.name);
    reader.flag("mitm", slot.mitm);
    reader.flag("auto_connect", slot.autoConnect);
    reader.flag("connected", slot.connected);
    reader.finish();
    if (slot.name.size() > whitelistStorage) {
        reader.fail("name", "longer than the " + std::to_string(whitelistStorage) + " bytes that a slot holds");
    }
    return slot;
}

std::vector<Slot> readSlots(JsonReader& reader, const std::string& key) {
    std::vector<Slot> slots;
    reader.array(key, [&](const Json& item, const std::string& where) { slots.push_back(readSlot(item, where)); });
    if (slots.size() > listLimit) {
        reader.fail(key, "more than the " + std::to_string(listLimit) + " slots that a list can have");
    }
    return slots;
}

Json toJson(const Slot& slot) {
    return {{"in_use", slot.inUse},
            {"address", toText(slot.address)},
            {"address_type", slot.addressType},
            {"name", slot.name},
            {"mitm", slot.mitm},
            {"auto_connect", slot.autoConnect},
            {"connected", slot.connected}};
}

} // namespace zvcamera
