#include "bleEntries.h"

#include "cursor.h"

#include <algorithm>

namespace zvcamera {
namespace {

// Bytes in front of the storage.
constexpr std::size_t scanHeader = scanEntrySize - scanStorage;
constexpr std::size_t whitelistHeader = whitelistEntrySize - whitelistStorage;
static_assert(scanHeader == 14 && whitelistHeader == 10);
// Offset and length of name, 128-bit UUIDs and 16-bit UUIDs.
constexpr std::size_t scanParts = 6;

// Lays variable parts one after the other into an entry's storage.
class Storage {
public:
    Storage(std::size_t start, std::size_t room) : start_(start), room_(room) {}

    // Keeps as many whole units of `part` as fit, and appends their {offset, length}; {0, 0} when none fits.
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

} // namespace

void appendEntry(Bytes& out, const ScanEntry& entry) {
    out.insert(out.end(), entry.address.begin(), entry.address.end());
    out.push_back(entry.addressType);
    out.push_back(static_cast<std::uint8_t>(entry.rssi));
    Storage storage(scanHeader, scanStorage);
    storage.place(out, bytesOf(entry.name), 1);
    storage.place(out, entry.uuid128, uuid128Size);
    storage.place(out, entry.uuid16, uuid16Size);
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
    const ByteSpan parts = cursor.take(scanParts);
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
