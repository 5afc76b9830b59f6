#include "zvHexdump.h"

#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <numeric>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace {

// Memory at a known address, so that labels can be literals, between two inaccessible pages.
class KnownMemory {
public:
    KnownMemory() : size_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))) {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): the address is what is wanted
        char* const before = reinterpret_cast<char*>(place - size_);
        EXPECT_EQ(before, mmap(before, 3 * size_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0));
        start_ = before + size_;
        EXPECT_EQ(0, mprotect(start_, size_, PROT_READ | PROT_WRITE));
    }
    // Places text at an offset; a negative one counts from the end of the memory.
    const void* put(long offset, const std::string& text) const {
        return std::memcpy(offset < 0 ? start_ + size_ + offset : start_ + offset, text.data(), text.size());
    }

private:
    static constexpr std::uintptr_t place = 0x20000000;
    std::size_t size_;
    char* start_ = nullptr;
};

using Dump = int (*)(char*, std::uint32_t, const void*, std::uint32_t, const char*);

std::string dump(Dump function, const void* address, std::uint32_t length, const char* prefix = "") {
    char text[4096];
    const int count = function(text, sizeof text, address, length, prefix);
    EXPECT_EQ(std::strlen(text), static_cast<std::size_t>(count));
    return text;
}

constexpr const char* letters = "ABCDEFGHIJKLMNOPQRST";

} // namespace

TEST(ZvHexdump, NoBytesGiveTheAddressAlone) {
    const KnownMemory memory;
    const void* const address = memory.put(8, "");
    EXPECT_EQ("0x20000008\n", dump(snhexdump, address, 0));
    EXPECT_EQ("0x20000008\n", dump(snhexdump0, address, 0, "prefix"));
    EXPECT_EQ("(nil)\n", dump(snhexdump, nullptr, 0));
}

TEST(ZvHexdump, FullLine) {
    const KnownMemory memory;
    const void* const address = memory.put(0, letters);
    EXPECT_EQ("20000000  41 42 43 44  45 46 47 48  49 4A 4B 4C  4D 4E 4F 50  ABCDEFGHIJKLMNOP\n",
              dump(snhexdump, address, 16));
    EXPECT_EQ("00000000  41 42 43 44  45 46 47 48  49 4A 4B 4C  4D 4E 4F 50  ABCDEFGHIJKLMNOP\n",
              dump(snhexdump0, address, 16));
}

TEST(ZvHexdump, AlignedLinesStandAtMultiplesOf16) {
    const KnownMemory memory;
    EXPECT_EQ("20000000                            41 42 43 44  45 46 47 48          ABCDEFGH\n"
              "20000010  49 4A 4B 4C  4D 4E 4F 50  51 52 53 54               IJKLMNOPQRST    \n",
              dump(snhexdump, memory.put(8, letters), 20));
}

TEST(ZvHexdump, UnalignedLinesStartAtTheFirstByte) {
    const KnownMemory memory;
    EXPECT_EQ("00000000  41 42 43 44  45 46 47 48  49 4A 4B 4C  4D 4E 4F 50  ABCDEFGHIJKLMNOP\n"
              "00000010  51 52 53 54                                         QRST            \n",
              dump(snhexdump0, memory.put(8, letters), 20));
}

TEST(ZvHexdump, WorkerDoesEither) {
    const KnownMemory memory;
    const void* const address = memory.put(4, letters);
    char text[4096];
    _snhexdump(text, sizeof text, address, 20, 1, "p");
    EXPECT_EQ(dump(snhexdump, address, 20, "p"), text);
    _snhexdump(text, sizeof text, address, 20, 0, "p");
    EXPECT_EQ(dump(snhexdump0, address, 20, "p"), text);
}

TEST(ZvHexdump, SingleByteInsideALine) {
    const KnownMemory memory;
    EXPECT_EQ("20000020                  7E                                       ~          \n",
              dump(snhexdump, memory.put(0x25, "~"), 1));
}

TEST(ZvHexdump, PrefixStandsBeforeEveryLabel) {
    const KnownMemory memory;
    const void* const address = memory.put(0, letters);
    EXPECT_EQ("> 00000000  41 42 43 44  45 46 47 48  49 4A 4B 4C  4D 4E 4F 50  ABCDEFGHIJKLMNOP\n"
              "> 00000010  51                                                  Q               \n",
              dump(snhexdump0, address, 17, "> "));
    EXPECT_EQ(dump(snhexdump0, address, 17, ""), dump(snhexdump0, address, 17, nullptr));
    EXPECT_EQ("%s00000000  41                                                  A               \n",
              dump(snhexdump0, address, 1, "%s"));
}

TEST(ZvHexdump, OnlyCodes32To126AreShownAsCharacters) {
    const KnownMemory memory;
    EXPECT_EQ("00000000  00 1F 20 25  7E 7F 80 FF  0A                        .. %~....       \n",
              dump(snhexdump0, memory.put(0, std::string("\0\x1F %~\x7F\x80\xFF\n", 9)), 9));
}

TEST(ZvHexdump, EqualLinesAreShownOnceAndThenAsDots) {
    const KnownMemory memory;
    const std::string equal(16, 'e');
    EXPECT_EQ("20000000  65 65 65 65  65 65 65 65  65 65 65 65  65 65 65 65  eeeeeeeeeeeeeeee\n"
              "...\n"
              "20000030  64 64 64 64  64 64 64 64  64 64 64 64  64 64 64 64  dddddddddddddddd\n",
              dump(snhexdump, memory.put(0, equal + equal + equal + std::string(16, 'd')), 64));
}

TEST(ZvHexdump, DotsStandOnceForEveryRunOfEqualLines) {
    const KnownMemory memory;
    const std::string equal(16, 'e');
    const std::string other(16, 'o');
    EXPECT_EQ("00000000  65 65 65 65  65 65 65 65  65 65 65 65  65 65 65 65  eeeeeeeeeeeeeeee\n"
              "...\n"
              "00000030  64 64 64 64  64 64 64 64  64 64 64 64  64 64 64 64  dddddddddddddddd\n"
              "00000040  6F 6F 6F 6F  6F 6F 6F 6F  6F 6F 6F 6F  6F 6F 6F 6F  oooooooooooooooo\n",
              dump(snhexdump0, memory.put(0, equal + equal + equal + std::string(16, 'd') + other), 80));
    EXPECT_EQ("20000000  65 65 65 65  65 65 65 65  65 65 65 65  65 65 65 65  eeeeeeeeeeeeeeee\n"
              "...\n"
              "20000020  6F 6F 6F 6F  6F 6F 6F 6F  6F 6F 6F 6F  6F 6F 6F 6F  oooooooooooooooo\n"
              "...\n"
              "20000050  65 65 65 65  65 65 65 65  65 65 65 65  65 65 65 65  eeeeeeeeeeeeeeee\n",
              dump(snhexdump, memory.put(0, equal + equal + other + other + other + equal), 96));
}

TEST(ZvHexdump, LabelsAreInCapitals) {
    const KnownMemory memory;
    std::string bytes(246, '\0');
    std::iota(bytes.begin(), bytes.end(), '\0');
    const std::string offsets = dump(snhexdump0, memory.put(0, bytes), 246);
    const char* const lastOffsets = "000000A0  A0 A1 A2 A3  A4 A5 A6 A7  A8 A9 AA AB  AC AD AE AF  ................\n"
                                    "000000B0  B0 B1 B2 B3  B4 B5 B6 B7  B8 B9 BA BB  BC BD BE BF  ................\n"
                                    "000000C0  C0 C1 C2 C3  C4 C5 C6 C7  C8 C9 CA CB  CC CD CE CF  ................\n"
                                    "000000D0  D0 D1 D2 D3  D4 D5 D6 D7  D8 D9 DA DB  DC DD DE DF  ................\n"
                                    "000000E0  E0 E1 E2 E3  E4 E5 E6 E7  E8 E9 EA EB  EC ED EE EF  ................\n"
                                    "000000F0  F0 F1 F2 F3  F4 F5                                  ......          \n";
    constexpr std::size_t lineSize = 79;
    ASSERT_EQ(16 * lineSize, offsets.size());
    EXPECT_EQ(lastOffsets, offsets.substr(10 * lineSize));
    EXPECT_EQ("20000AB0                                         41 42 43 44              ABCD\n"
              "20000AC0  45 46                                               EF              \n",
              dump(snhexdump, memory.put(0xABC, "ABCDEF"), 6));
}

TEST(ZvHexdump, DotsHaveNoPrefix) {
    const KnownMemory memory;
    EXPECT_EQ("p00000000  65 65 65 65  65 65 65 65  65 65 65 65  65 65 65 65  eeeeeeeeeeeeeeee\n"
              "...\n"
              "p00000020  64                                                  d               \n",
              dump(snhexdump0, memory.put(0, std::string(32, 'e') + "d"), 33, "p"));
}

TEST(ZvHexdump, EqualLinesAtTheEndLeaveNoDots) {
    const KnownMemory memory;
    EXPECT_EQ("00000000  65 65 65 65  65 65 65 65  65 65 65 65  65 65 65 65  eeeeeeeeeeeeeeee\n",
              dump(snhexdump0, memory.put(0, std::string(48, 'e')), 48));
}

TEST(ZvHexdump, PartOfALineIsNeverEqual) {
    const KnownMemory memory;
    // 15 equal bytes at the end, and 8 at the start of an aligned dump; the bytes around them cannot be read.
    EXPECT_EQ("00000000  65 65 65 65  65 65 65 65  65 65 65 65  65 65 65 65  eeeeeeeeeeeeeeee\n"
              "...\n"
              "00000020  65 65 65 65  65 65 65 65  65 65 65 65  65 65 65     eeeeeeeeeeeeeee \n",
              dump(snhexdump0, memory.put(0, std::string(47, 'e')), 47));
    EXPECT_EQ("20000000                            00 00 00 00  00 00 00 00          ........\n"
              "20000010  00 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00  ................\n",
              dump(snhexdump, memory.put(8, std::string(40, '\0')), 40));
}

TEST(ZvHexdump, ReadsNothingOutsideTheRange) {
    const KnownMemory memory;
    dump(snhexdump, memory.put(0, letters), 20);
    dump(snhexdump, memory.put(-20, letters), 20);
    dump(snhexdump0, memory.put(-20, letters), 20);
    dump(snhexdump0, memory.put(-32, std::string(32, 'e')), 32);
}

TEST(ZvHexdump, CutTextIsAPrefixOfTheWholeAndTheResultTellsTheWholeLength) {
    const KnownMemory memory;
    const void* const address = memory.put(0, std::string(48, 'e') + letters);
    const std::string whole = dump(snhexdump0, address, 68, "p");
    for (std::uint32_t size = 0; size <= whole.size() + 2; ++size) {
        // The buffer has exactly that size: a sanitizer notices a write behind it.
        const auto text = std::make_unique<char[]>(size + 1);
        text[size] = '#';
        EXPECT_EQ(static_cast<int>(whole.size()), snhexdump0(text.get(), size, address, 68, "p")) << size;
        EXPECT_EQ('#', text[size]);
        if (size > 0) {
            EXPECT_EQ(whole.substr(0, size - 1), text.get());
        }
    }
    EXPECT_EQ(static_cast<int>(whole.size()), snhexdump0(nullptr, 0, address, 68, "p"));
}
