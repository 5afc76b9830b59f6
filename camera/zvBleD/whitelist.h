// The paired devices: slots, some of them free, and a list id that changes whenever a slot is taken or freed.
#pragma once

#include "bleSettings.h"

#include <optional>
#include <string>
#include <vector>

namespace zvcamera {

struct Slot {
    bool inUse = false; // a freed slot keeps what it held until it is taken again
    Address address{};
    std::uint8_t addressType = 0;
    std::string name;
    bool mitm = false;
    bool autoConnect = false;
    bool connected = false;          // not kept across restarts
    std::optional<Millis> connectAt; // when a known device that came into range gets connected

    std::uint16_t flags() const;
};

// As much of a device's name as a slot holds, cut between two characters: the list's file could not keep half a
// character.
std::string nameForSlot(const std::string& name);

class Whitelist {
public:
    std::uint8_t listId() const { return listId_; }
    void rebuild(std::optional<std::uint8_t> id = std::nullopt); // the next id, or this one
    const std::vector<Slot>& slots() const { return slots_; }
    std::vector<Slot>& slots() { return slots_; }
    // The slot in use with the address, or null.
    Slot* find(const Address& address);

    // Takes the slot of the address, else the first free slot, else a new one if there are fewer than `limit`; null
    // when there is no room.
    Slot* take(const Slot& content, std::size_t limit);
    bool hasRoom(const Address& address, std::size_t limit);
    bool remove(const Address& address);
    void assign(std::vector<Slot> slots);

    // Counts every change of what is kept in the file.
    std::uint64_t revision() const { return revision_; }
    void changed() { ++revision_; }

private:
    std::vector<Slot> slots_;
    std::uint8_t listId_ = 1;
    std::uint64_t revision_ = 0;
};

// Reads a slot; null is a free one. Changes only what there are keys for; throws JsonError.
Slot readSlot(const Json& json, const std::string& where, Slot slot = {});
std::vector<Slot> readSlots(JsonReader& reader, const std::string& key);
Json toJson(const Slot& slot);

} // namespace zvcamera
