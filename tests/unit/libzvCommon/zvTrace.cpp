// Trace lines, the direction tables and what a trace prints where.
#include "reports.h"
#include "zvHexdump.h"

#include <array>
#include <climits>
#include <cstdint>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <numeric>

using namespace zvtest;
using Texts = std::vector<std::string>;

namespace {

constexpr const char* marker = "DB>         ";

std::array<std::uint8_t, 300> counting() {
    std::array<std::uint8_t, 300> bytes{};
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
    return bytes;
}

struct Line {
    std::string text;
    std::uint32_t address;
    int index;
};

Line line(std::uint32_t address, int index, const void* data, int length, const char* mark = marker) {
    char text[ZVMSG_TRACE_LINE_SIZE];
    hexline(text, sizeof text, mark, &address, &index, data, length);
    return {text, address, index};
}

Reported traced(std::uint32_t switches, int length, std::uint32_t address = 0) {
    return reported(switches, [=] {
        const auto bytes = counting();
        hexprint(marker, address, bytes.data(), length);
    });
}

// The labels of the printed lines without the opening line.
Texts labels(const Reported& all) {
    Texts found;
    for (const LogLine& each : all.lines) {
        if (each.text != "\n") {
            found.push_back(each.text.substr(12, 8));
        }
    }
    return found;
}

} // namespace

TEST(ZvTrace, MarkersAndClassesStandInTheirRows) {
    struct {
        const char* marker;
        std::uint32_t traceClass;
    } const rows[] = {
        {"            ", 0},          {">Hb         ", 0x00000001},
        {" Hb>        ", 0x00000002}, {" Hb<        ", 0x00000004},
        {"<Hb         ", 0x00000008}, {">Hc         ", 0x00000010},
        {" Hc>        ", 0x00000020}, {" Hc<        ", 0x00000040},
        {"<Hc         ", 0x00000080}, {">UD         ", 0x00000100},
        {" UD>        ", 0x00000200}, {" UD<        ", 0x00000400},
        {"<UD         ", 0x00000800}, {"    >GN     ", 0x00010000},
        {"     GN>    ", 0x00020000}, {"     GN<    ", 0x00040000},
        {"    <GN     ", 0x00080000}, {"        >RT ", 0x00100000},
        {"         RT>", 0x00200000}, {"         RT<", 0x00400000},
        {"        <RT ", 0x00800000}, {"        >WI ", 0x01000000},
        {"        <WI ", 0x02000000}, {"        >BT ", 0x04000000},
        {"        <BT ", 0x08000000}, {"DB>         ", 0x10000000},
        {"DB<         ", 0x20000000}, {"", 0},
    };
    ASSERT_EQ(28U, sizeof rows / sizeof rows[0]);
    ASSERT_EQ(28U, sizeof s_dmsgstr / sizeof s_dmsgstr[0]);
    ASSERT_EQ(28U, sizeof s_dmsghex / sizeof s_dmsghex[0]);
    for (std::size_t i = 0; i < 28; ++i) {
        EXPECT_STREQ(rows[i].marker, s_dmsgstr[i]);
        EXPECT_EQ(rows[i].traceClass, s_dmsghex[i]);
        EXPECT_EQ(i == 27 ? 0U : 12U, std::strlen(s_dmsgstr[i]));
    }
}

TEST(ZvTrace, LineHasMarkerLabelGroupsAndCharacters) {
    const auto bytes = counting();
    const Line first = line(0, 0, bytes.data(), 200);
    EXPECT_EQ("DB>         00000000  00010203 04050607 08090a0b 0c0d0e0f  ................", first.text);
    EXPECT_EQ(16U, first.address);
    EXPECT_EQ(16, first.index);
    EXPECT_EQ("DB>         00000040  40414243 44454647 48494a4b 4c4d4e4f  @ABCDEFGHIJKLMNO",
              line(64, 64, bytes.data(), 200).text);
    EXPECT_EQ("DB>         00000070  70717273 74757677 78797a7b 7c7d7e7f  pqrstuvwxyz{|}~.",
              line(112, 112, bytes.data(), 200).text);
}

TEST(ZvTrace, SlotsOutsideTheMessageStayBlank) {
    const auto bytes = counting();
    EXPECT_EQ("DB>         00000040  40414243 444546                      @ABCDEF         ",
              line(64, 64, bytes.data(), 71).text);
    // Bytes before the message: index below 0.
    const Line first = line(0x1008, -8, bytes.data() + 65, 20);
    EXPECT_EQ("DB>         00001000                    41424344 45464748          ABCDEFGH", first.text);
    EXPECT_EQ(0x1018U, first.address);
    EXPECT_EQ(8, first.index);
}

TEST(ZvTrace, NothingIsReadForALineWithoutBytes) {
    EXPECT_EQ("DB>         00000000  " + std::string(35 + 2 + 16, ' '), line(0, 0, nullptr, 0).text);
    EXPECT_EQ("DB>         00000010  " + std::string(35 + 2 + 16, ' '), line(16, 16, nullptr, 16).text);
    std::uint32_t address = 0;
    int index = 0;
    hexline(nullptr, 0, marker, &address, &index, "A", 1);
    EXPECT_EQ(16, index);
    const Reported all = reported(8, [] { hexprint(marker, 5, nullptr, 0); });
    EXPECT_EQ(0, all.ended.status);
    EXPECT_EQ(Texts{"00000000"}, labels(all));
}

TEST(ZvTrace, IndexStopsAtTheLargest) {
    const auto bytes = counting();
    // The address of a message whose last three bytes these are.
    const auto start = reinterpret_cast<std::uintptr_t>(bytes.data() + 65) - (INT_MAX - 3);
    // NOLINTNEXTLINE(performance-no-int-to-ptr): no pointer may be moved so far
    const Line last = line(0x7ffffff0, INT_MAX - 3, reinterpret_cast<const void*>(start), INT_MAX);
    EXPECT_EQ("DB>         7ffffff0  414243                               ABC             ", last.text);
    EXPECT_EQ(INT_MAX, last.index);
    EXPECT_EQ(0x80000000U, last.address);
    const Line exact = line(0xfffffff0, INT_MAX - 16, bytes.data(), 0);
    EXPECT_EQ(INT_MAX, exact.index);
    EXPECT_EQ(0U, exact.address);
    EXPECT_EQ(INT_MIN + 16, line(0, INT_MIN, bytes.data(), 300).index);
}

TEST(ZvTrace, MarkerHasAtLeastElevenColumns) {
    const std::uint8_t byte = 'A';
    EXPECT_EQ("           00000000  41                                   A               ",
              line(0, 0, &byte, 1, "").text);
    EXPECT_EQ("ab         abcdef00  41                                   A               ",
              line(0xabcdef05, 0, &byte, 1, "ab").text);
    EXPECT_EQ(75U, line(0, 0, &byte, 1, marker).text.size());
}

TEST(ZvTrace, LineStaysInsideItsBuffer) {
    const auto bytes = counting();
    const std::string whole = line(0, 0, bytes.data(), 16).text;
    for (std::uint32_t size = 0; size <= 98; ++size) {
        const auto text = std::make_unique<char[]>(size + 1);
        text[size] = '#';
        std::uint32_t address = 0;
        int index = 0;
        hexline(text.get(), size, marker, &address, &index, bytes.data(), 16);
        EXPECT_EQ('#', text[size]);
        EXPECT_EQ(16, index);
        if (size > 0) {
            EXPECT_EQ(whole.substr(0, size - 1), text.get());
        }
    }
    EXPECT_EQ(97U, line(0, 0, bytes.data(), 16, std::string(500, 'm').c_str()).text.size());
}

TEST(ZvTrace, GoesToEveryOutputUnderItsBit) {
    const std::string first = "DB>         00000000  00010203 04050607 08090a0b 0c0d0e0f  ................\n";
    const std::string second = "DB>         00000010  1011                                 ..              \n";
    for (const std::uint32_t file : {0U, toFile}) {
        for (const std::uint32_t out : {0U, toStdout}) {
            const Reported all = traced(8 | file | out, 18);
            ASSERT_EQ((Texts{"\n", first, second}), texts(all));
            for (const LogLine& each : all.lines) {
                EXPECT_EQ(7, each.priority);
                EXPECT_EQ(1, each.facility);
            }
            EXPECT_THAT(all.ended.err, testing::HasSubstr(first));
            const std::string printed =
                std::string("@\n@").append(first).append("@").append(second); // the time and a blank first
            EXPECT_EQ(out != 0 ? printed : "", withoutTimes(all.ended.out));
            EXPECT_EQ(file != 0 ? printed : "(no file)", withoutTimes(all.file));
        }
    }
}

TEST(ZvTrace, IsSilentUpToVerbosity7) {
    for (const std::uint32_t verbosity : {0U, 7U, 0xFFFFFF07U}) {
        const Reported all = traced(verbosity, 200);
        EXPECT_EQ(Texts{}, texts(all));
        EXPECT_EQ("", all.ended.out);
        EXPECT_EQ("", all.ended.err);
        EXPECT_EQ("(no file)", all.file);
    }
}

TEST(ZvTrace, Of200BytesShowsFourLinesAndTheLastThree) {
    const Reported all = traced(8, 200);
    EXPECT_EQ((Texts{"00000000", "00000010", "00000020", "00000030", "000000a0", "000000b0", "000000c0"}), labels(all));
    EXPECT_EQ("DB>         000000c0  c0c1c2c3 c4c5c6c7                    ........        \n", all.lines.back().text);
}

TEST(ZvTrace, Of200BytesShowsAllLinesWithBit9) {
    EXPECT_EQ((Texts{"00000000", "00000010", "00000020", "00000030", "00000040", "00000050", "00000060", "00000070",
                     "00000080", "00000090", "000000a0", "000000b0", "000000c0"}),
              labels(traced(0x208, 200)));
}

TEST(ZvTrace, LinesAreLeftOutOnlyWhereMoreThan31BytesRemain) {
    // Behind the fifth line, at index 80, 31 of 111 bytes remain, and 32 of 112.
    EXPECT_EQ((Texts{"00000000", "00000010", "00000020", "00000030", "00000040", "00000050", "00000060"}),
              labels(traced(8, 111)));
    EXPECT_EQ((Texts{"00000000", "00000010", "00000020", "00000030", "00000050", "00000060"}), labels(traced(8, 112)));
}

TEST(ZvTrace, LineThatEndsAtIndex79IsStillShown) {
    // One slot stands before the message: the lines end at 15, 31, 47, 63, 79; the first of the tail ends at 175.
    const Texts expected = {"00000000", "00000010", "00000020", "00000030",
                            "00000040", "000000a0", "000000b0", "000000c0"};
    EXPECT_EQ(expected, labels(traced(8, 200, 1)));
}

TEST(ZvTrace, FirstLineOfAnUnalignedAddressIsShort) {
    const Reported all = traced(8, 20, 0x1008);
    ASSERT_EQ(3U, all.lines.size());
    EXPECT_EQ("DB>         00001000                    00010203 04050607          ........\n", all.lines[1].text);
    EXPECT_EQ("DB>         00001010  08090a0b 0c0d0e0f 10111213           ............    \n", all.lines[2].text);
}

TEST(ZvTrace, EmptyMessageHasTheOpeningLineOnly) {
    EXPECT_EQ(Texts{"\n"}, texts(traced(8, 0)));
    EXPECT_EQ(Texts{"\n"}, texts(traced(8, -5)));
}
