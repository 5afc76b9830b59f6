#include "bleProtocol.h"

#include "cursor.h"
#include "tlv.h"

#include <algorithm>
#include <stdexcept>

namespace zvcamera {
namespace {

constexpr std::size_t scanHeader = scanEntrySize - scanStorage;
constexpr std::size_t whitelistHeader = whitelistEntrySize - whitelistStorage;
static_assert(scanHeader == 14 && whitelistHeader == 10);

// Lays variable parts one after the other into an entry's storage.
class Storage {
public:
    Storage(std::size_t start, std::size_t room) : start_(start), room_(room) {}

    // Appends {offset, length} of what is kept of `part`: whole units only; {0, 0} when nothing is.
    void place(Bytes& header, ByteSpan part, std::size_t unit) {
        const std::size_t kept = std::min(part.size(), room_ - bytes_.size()) / unit * unit;
        header.push_back(kept == 0 ? std::uint8_t{0} : static_cast<std::uint8_t>(start_ + bytes_.size()));
        header.push_back(static_cast<std::uint8_t>(kept));
        bytes_.insert(bytes_.end(), part.begin(), part.begin() + static_cast<std::ptrdiff_t>(kept));
    }
    void append(Bytes& out) {
        bytes_.resize(room_);
        out.insert(out.end(), bytes_.begin(), bytes_.end());
    }

private:
    std::size_t start_;
    std::size_t room_;
    Bytes bytes_;
};

ByteSpan bytesOf(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

ByteSpan within(ByteSpan entry, std::size_t offset, std::size_t length) {
    if (offset == 0 || offset >= entry.size()) {
        return {};
    }
    return entry.subspan(offset, std::min(length, entry.size() - offset));
}

std::string nameOf(ByteSpan field) {
    return {field.begin(), std::find(field.begin(), field.end(), 0)};
}

Address takeAddress(Cursor& cursor) {
    Address address{};
    const ByteSpan bytes = cursor.take(address.size());
    std::copy(bytes.begin(), bytes.end(), address.begin());
    return address;
}

std::string without(std::string_view text, char separator) {
    std::string kept;
    std::copy_if(text.begin(), text.end(), std::back_inserter(kept), [=](char c) { return c != separator; });
    return kept;
}

} // namespace

const CommandInfo* findCommand(std::uint8_t code) {
    const auto found = std::find_if(bleCommands.begin(), bleCommands.end(), [code](const CommandInfo& info) {
        return static_cast<std::uint8_t>(info.code) == code;
    });
    return found == bleCommands.end() ? nullptr : &*found;
}

const CommandInfo* findCommand(std::string_view nameOrCode) {
    const auto found = std::find_if(bleCommands.begin(), bleCommands.end(), [=](const CommandInfo& info) {
        return nameOrCode == info.name || nameOrCode == std::to_string(static_cast<int>(info.code));
    });
    return found == bleCommands.end() ? nullptr : &*found;
}

const char* toText(Status status) {
    switch (status) {
    case Status::Ok:
        return "ok";
    case Status::UnknownCommand:
        return "unknown command";
    case Status::BadParameters:
        return "bad parameters";
    case Status::Busy:
        return "busy";
    case Status::NotFound:
        return "not found";
    case Status::NoRoom:
        return "no room";
    case Status::Unreachable:
        return "unreachable";
    }
    return "unknown status";
}

const char* toText(PairingStatus status) {
    switch (status) {
    case PairingStatus::Idle:
        return "idle";
    case PairingStatus::Pairing:
        return "pairing";
    case PairingStatus::Paired:
        return "paired";
    case PairingStatus::Failed:
        return "failed";
    case PairingStatus::Cancelled:
        return "cancelled";
    case PairingStatus::TimedOut:
        return "timed out";
    }
    return "unknown status";
}

Address parseAddress(std::string_view text) {
    const Bytes bytes = fromHex(without(text, ':'));
    Address address{};
    if (bytes.size() != address.size()) {
        throw std::invalid_argument("an address has twelve hexadecimal digits: " + std::string(text.substr(0, 40)));
    }
    std::copy(bytes.rbegin(), bytes.rend(), address.begin());
    return address;
}

std::string toText(const Address& address) {
    const Bytes reversed(address.rbegin(), address.rend());
    return toHex(reversed);
}

Bytes parseUuid(std::string_view text, std::size_t size) {
    Bytes bytes = fromHex(without(text, '-'));
    if (bytes.size() != size) {
        throw std::invalid_argument("a UUID of " + std::to_string(size * 8) + " bits has " + std::to_string(size * 2) +
                                    " hexadecimal digits: " + std::string(text.substr(0, 60)));
    }
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

std::string uuidText(ByteSpan stored) {
    const Bytes reversed(stored.rbegin(), stored.rend());
    return toHex(reversed);
}

void appendEntry(Bytes& out, const ScanEntry& entry) {
    out.insert(out.end(), entry.address.begin(), entry.address.end());
    out.push_back(entry.addressType);
    out.push_back(static_cast<std::uint8_t>(entry.rssi));
    Storage storage(scanHeader, scanStorage);
    storage.place(out, bytesOf(entry.name), 1);
    storage.place(out, entry.uuid128, 16);
    storage.place(out, entry.uuid16, 2);
    storage.append(out);
}

void appendEntry(Bytes& out, const WhitelistEntry& entry) {
    out.insert(out.end(), entry.address.begin(), entry.address.end());
    out.push_back(static_cast<std::uint8_t>(entry.flags));
    out.push_back(static_cast<std::uint8_t>(entry.flags >> 8));
    Storage storage(whitelistHeader, whitelistStorage);
    storage.place(out, bytesOf(entry.name), 1);
    storage.append(out);
}

ScanEntry readScanEntry(ByteSpan bytes) {
    const ByteSpan whole = bytes.first(scanEntrySize);
    Cursor cursor(whole);
    ScanEntry entry;
    entry.address = takeAddress(cursor);
    entry.addressType = cursor.byte();
    entry.rssi = static_cast<std::int8_t>(cursor.byte());
    const ByteSpan parts = cursor.take(6);
    entry.name = nameOf(within(whole, parts[0], parts[1]));
    const ByteSpan uuid128 = within(whole, parts[2], parts[3]);
    const ByteSpan uuid16 = within(whole, parts[4], parts[5]);
    entry.uuid128.assign(uuid128.begin(), uuid128.end());
    entry.uuid16.assign(uuid16.begin(), uuid16.end());
    return entry;
}

WhitelistEntry readWhitelistEntry(ByteSpan bytes) {
    const ByteSpan whole = bytes.first(whitelistEntrySize);
    Cursor cursor(whole);
    WhitelistEntry entry;
    entry.address = takeAddress(cursor);
    entry.flags = cursor.little16();
    const std::uint8_t offset = cursor.byte();
    entry.name = nameOf(within(whole, offset, cursor.byte()));
    return entry;
}

} // namespace zvcamera
