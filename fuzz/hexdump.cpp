// Hex dumps of any bytes into any room, beside a plain model of the whole text.
#include "fuzzInput.h"
#include "zvHexdump.h"

namespace {

using zvfuzz::Bytes;
using zvfuzz::Input;
using zvfuzz::require;

std::string printed(const char* format, unsigned value) {
    char text[16];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

char shown(std::uint8_t byte) {
    return byte >= ' ' && byte <= '~' ? static_cast<char>(byte) : '.';
}

// lead: slots of the first line that stay blank; label: of the first line.
std::string dumpOf(const Bytes& bytes, std::size_t lead, std::uint32_t label, const std::string& prefix) {
    std::string all;
    bool skipped = false;
    for (std::size_t start = 0; start < lead + bytes.size(); start += 16) {
        std::string digits;
        std::string characters;
        for (std::size_t slot = start; slot < start + 16; ++slot) {
            const bool inside = slot >= lead && slot - lead < bytes.size();
            digits += inside ? printed("%02X", bytes[slot - lead]) : "  ";
            digits += slot % 4 == 3 ? "  " : " ";
            characters += inside ? shown(bytes[slot - lead]) : ' ';
        }
        const bool whole = start >= lead + 16 && start + 16 <= lead + bytes.size();
        const auto here = bytes.begin() + static_cast<std::ptrdiff_t>(start - lead);
        if (whole && std::equal(here, here + 16, here - 16)) {
            skipped = true;
            continue;
        }
        all += skipped ? "...\n" : "";
        skipped = false;
        all += prefix;
        all += printed("%08X", label + static_cast<std::uint32_t>(start)) + "  ";
        all += digits + characters + "\n";
    }
    return all;
}

void checkDump(const Bytes& bytes, std::size_t room, bool aligned, const std::string& prefix) {
    const auto place = reinterpret_cast<std::uintptr_t>(bytes.data());
    const std::size_t lead = aligned ? place % 16 : 0;
    const std::string whole = dumpOf(bytes, lead, aligned ? static_cast<std::uint32_t>(place - lead) : 0, prefix);
    std::vector<char> text(room, '\x7f');
    const int length = _snhexdump(text.data(), static_cast<std::uint32_t>(room), bytes.data(),
                                  static_cast<std::uint32_t>(bytes.size()), aligned ? 1 : 0, prefix.c_str());
    require(length == static_cast<int>(whole.size()), "the length of the whole dump");
    if (room > 0) {
        require(std::string(text.data()) == whole.substr(0, room - 1), "as much of the dump as fits");
    }
}

void checkLine(const Bytes& bytes, std::size_t room, int index, std::uint32_t address) {
    std::string expected = "mark       " + printed("%08x", address & ~15U) + "  ";
    std::string characters;
    for (int slot = 0; slot < 16; ++slot) {
        const std::int64_t at = std::int64_t{index} + slot;
        const bool inside = at >= 0 && at < static_cast<std::int64_t>(bytes.size());
        expected += inside ? printed("%02x", bytes[static_cast<std::size_t>(at)]) : "  ";
        expected += slot % 4 == 3 && slot != 15 ? " " : "";
        characters += inside ? shown(bytes[static_cast<std::size_t>(at)]) : ' ';
    }
    expected += "  " + characters;
    std::vector<char> text(room, '\x7f');
    const std::uint32_t before = address;
    hexline(text.data(), static_cast<std::uint32_t>(room), "mark", &address, &index, bytes.data(),
            static_cast<int>(bytes.size()));
    require(address == before + 16, "the address of the next line");
    if (room > 0) {
        require(std::string(text.data()) == expected.substr(0, room - 1), "a line of a trace");
    }
}

} // namespace

// Room (2 bytes), index of a trace line (2 bytes), flags (1: lines at multiples of 16), length of the prefix, its
// text, the bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const std::size_t room = input.number() % 8192;
    const int index = static_cast<std::int16_t>(input.number());
    const std::uint8_t flags = input.byte();
    const std::string prefix = input.text(input.byte() % 16);
    const Bytes bytes = input.bytes(size);
    if (!bytes.empty()) {
        checkDump(bytes, room, (flags & 1) != 0, prefix.substr(0, prefix.find('\0')));
    }
    checkLine(bytes, room % 200, index, static_cast<std::uint32_t>(room) * 4099U);
    return 0;
}
