#include "zvHexdump.h"
#include "zvLog.h"
#include "zvReport.h"
#include "zvText.h"

#include <algorithm>
#include <climits>
#include <cstdint>

constexpr const char* s_dmsgstr[ZVMSG_DIRECTIONS] = {
    "            ", ">Hb         ", " Hb>        ", " Hb<        ", "<Hb         ", ">Hc         ", " Hc>        ",
    " Hc<        ", "<Hc         ", ">UD         ", " UD>        ", " UD<        ", "<UD         ", "    >GN     ",
    "     GN>    ", "     GN<    ", "    <GN     ", "        >RT ", "         RT>", "         RT<", "        <RT ",
    "        >WI ", "        <WI ", "        >BT ", "        <BT ", "DB>         ", "DB<         ", "",
};

// Fixed: bits 12 to 15 are left out; the closed libraries set masks in g_debug by these values.
constexpr std::uint32_t s_dmsghex[ZVMSG_DIRECTIONS] = {
    0,          0x00000001, 0x00000002, 0x00000004, 0x00000008, 0x00000010, 0x00000020,
    0x00000040, 0x00000080, 0x00000100, 0x00000200, 0x00000400, 0x00000800, 0x00010000,
    0x00020000, 0x00040000, 0x00080000, 0x00100000, 0x00200000, 0x00400000, 0x00800000,
    0x01000000, 0x02000000, 0x04000000, 0x08000000, 0x10000000, 0x20000000, 0,
};

// A missing row would move the last ones up.
static_assert(std::none_of(s_dmsgstr, s_dmsgstr + ZVMSG_DIRECTIONS, [](const char* row) { return row == nullptr; }));
static_assert(s_dmsgstr[ZVMSG_DIRECTIONS - 1][0] == '\0' && s_dmsghex[ZVMSG_DIRECTIONS - 2] == 0x20000000);

namespace {

constexpr int lineBytes = 16;
constexpr int groupBytes = 4;
constexpr std::uint32_t insideLine = lineBytes - 1; // the bits of an address that count inside its line
// Fixed: without traceWhole, a trace shows the lines that end up to headEnd, and then those behind which fewer than
// tailBytes remain; readers of traces expect just these.
constexpr int headEnd = 79;
constexpr int tailBytes = 32;

bool shown(int indexAfter, int length) {
    return (g_debug_level & zv::traceWhole) != 0 || indexAfter <= headEnd || length - indexAfter < tailBytes;
}

} // namespace

void hexline(char* buffer, std::uint32_t size, const char* marker, std::uint32_t* addressCounter, int* index,
             const void* data, int length) {
    const auto* const bytes = static_cast<const std::uint8_t*>(data);
    zv::Text text(buffer, size);
    text.put("%-11s%08x  ", marker, *addressCounter & ~insideLine);
    char characters[lineBytes + 1] = {};
    for (int slot = 0; slot < lineBytes; ++slot) {
        const std::int64_t at = std::int64_t{*index} + slot;
        const bool inside = at >= 0 && at < length;
        if (inside) {
            text.put("%02x", unsigned{bytes[at]});
        } else {
            text.put("  ");
        }
        if (slot % groupBytes == groupBytes - 1 && slot != lineBytes - 1) {
            text.put(" ");
        }
        characters[slot] = inside ? zv::printable(bytes[at]) : ' ';
    }
    text.put("  %s", characters);
    *index = *index > INT_MAX - lineBytes ? INT_MAX : *index + lineBytes;
    *addressCounter += lineBytes;
}

void hexprint(const char* marker, std::uint32_t address, const void* data, int length) {
    if (zv::verbosity() < zv::traceVerbosity) {
        return;
    }
    zv::report("\n");
    int index = -static_cast<int>(address & insideLine);
    while (index < length) {
        char line[ZVMSG_TRACE_LINE_SIZE];
        hexline(line, sizeof line, marker, &address, &index, data, length);
        if (shown(index, length)) {
            zv::report("%s\n", line);
        }
    }
}
