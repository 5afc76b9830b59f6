#include "explain.h"

#include "bleProtocol.h"
#include "tlv.h"

#include <gmock/gmock.h>
#include <random>

namespace zvcamera {
namespace {

using ::testing::ElementsAre;

const Bytes pageRequest{0x00, 0x2d, 0x00, 0x02, 0x00, 0x00, 0x02, 0x41, 'B', 'L', 0x00, 0x00, 0x03, 0x42, 0x06,
                        0x1e, 0x14, 0x00, 0x00, 0x09, 0x44, '/',  't',  'o', '_', 'Z',  'V',  'C',  'C',  '7',
                        0x00, 0x00, 0x07, 0x43, '/',  't',  'o',  '_',  'b', 'l', 'e',  0x00, 0x00, 0x00, 0xee};

TEST(Explain, NamesEveryFieldOfARequest) {
    EXPECT_THAT(explainMessage(pageRequest, ""),
                ElementsAre(Field{0, 0, "total length", "45"}, Field{3, 0, "category", "2 (request)"},
                            Field{4, 0, "command tag", "65, 2 bytes: \"BL\""}, Field{10, 0, "data", "66, 3 bytes"},
                            Field{14, 1, "command", "6 (whitelist_list)"}, Field{15, 1, "start index", "30"},
                            Field{16, 1, "maximum", "20"}, Field{17, 0, "reply queue", "68, 9 bytes: \"/to_ZVCC7\""},
                            Field{30, 0, "destination", "67, 7 bytes: \"/to_ble\""},
                            Field{41, 0, "tail", "238, 0 bytes"}));
}

TEST(Explain, NamesThePageAndTheEntriesOfAReply) {
    Bytes data{3, 1, 0, 1};
    appendEntry(data, WhitelistEntry{{1, 2, 3, 4, 5, 6}, 0x005a, "Hi"});
    EXPECT_THAT(explainMessage(encodeMessage(makeReply(0, data)), "whitelist_list"),
                ElementsAre(Field{0, 0, "total length", "58"}, Field{3, 0, "category", "3 (reply)"},
                            Field{4, 0, "response", "69, 46 bytes"}, Field{8, 1, "status", "0 (ok)"},
                            Field{9, 1, "list id", "3"}, Field{10, 1, "total", "1"}, Field{11, 1, "index", "0"},
                            Field{12, 1, "count", "1"}, Field{13, 1, "entry", "0"},
                            Field{13, 2, "address", "060504030201"},
                            Field{19, 2, "flags", "0x005a in-use connected mitm auto-connect"},
                            Field{21, 2, "name", "\"Hi\""}, Field{54, 0, "tail", "238, 0 bytes"}));
}

TEST(Explain, NamesAScanEntry) {
    Bytes data{3, 1, 0, 1};
    appendEntry(data, ScanEntry{{1, 2, 3, 4, 5, 6}, 1, -60, "Hi", {0x0d, 0x18}, {}});
    const std::vector<Field> fields = explainMessage(encodeMessage(makeReply(0, data)), "scan_list");
    EXPECT_THAT(std::vector<Field>(fields.begin() + 9, fields.begin() + 15),
                ElementsAre(Field{13, 2, "address", "060504030201"}, Field{19, 2, "address type", "1"},
                            Field{20, 2, "rssi", "-60"}, Field{21, 2, "name", "\"Hi\""}, Field{23, 2, "uuid128", ""},
                            Field{25, 2, "uuid16", "180d"}));
}

TEST(Explain, SaysWhenACountAndItsEntriesDiffer) {
    const std::vector<Field> fields = explainMessage(encodeMessage(makeReply(0, Bytes{3, 9, 0, 2, 1})), "scan_list");
    EXPECT_EQ((Field{13, 1, "malformed", "the count says 2 entries, there are 0, 1 bytes left"}), fields[8]);
}

TEST(Explain, NamesEveryCommandsParameters) {
    const auto fieldsOf = [](const Bytes& data) {
        const Message message{2, {{65, {'B', 'L'}}, {66, data}, {238, {}}}};
        std::string text;
        for (const Field& field : explainMessage(encodeMessage(message), "")) {
            text += field.depth == 1 ? field.name + "=" + field.value + ";" : "";
        }
        return text;
    };
    EXPECT_EQ("command=1 (scan);mode=2;", fieldsOf({1, 2}));
    EXPECT_EQ("command=2 (pair_start);address=a1b2c3d4e5f6;address type=1;",
              fieldsOf({2, 0xf6, 0xe5, 0xd4, 0xc3, 0xb2, 0xa1, 1}));
    EXPECT_EQ("command=3 (pair_cancel);address=a1b2c3d4e5f6;address type=0;",
              fieldsOf({3, 0xf6, 0xe5, 0xd4, 0xc3, 0xb2, 0xa1, 0}));
    EXPECT_EQ("command=4 (scan_list);start index=1;maximum=15;", fieldsOf({4, 1, 15}));
    EXPECT_EQ("command=7 (whitelist_configure);operation=4 (auto connect);argument=1;address=060504030201;",
              fieldsOf({7, 4, 1, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ("command=7 (whitelist_configure);operation=0 (remove);argument=0;address=060504030201;",
              fieldsOf({7, 0, 0, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ("command=8 (config_set);reserved=0;auto connect=255;", fieldsOf({8, 0, 255}));
    EXPECT_EQ("command=9 (pair_status);", fieldsOf({9}));
    EXPECT_EQ("command=10 (config_get);", fieldsOf({10}));
    EXPECT_EQ("bytes=0501;", fieldsOf({5, 1}));
    EXPECT_EQ("command=9 (pair_status), wrong size;bytes=0901;", fieldsOf({9, 1}));
}

TEST(Explain, NamesStatusValues) {
    const auto lastOf = [](std::uint8_t value, const char* command) {
        return explainMessage(encodeMessage(makeReply(0, Bytes{value})), command)[4];
    };
    EXPECT_EQ((Field{9, 1, "pairing status", "2 (paired)"}), lastOf(2, "pair_status"));
    EXPECT_EQ((Field{9, 1, "auto connect", "1"}), lastOf(1, "config_get"));
    EXPECT_EQ((Field{9, 1, "bytes", "01"}), lastOf(1, ""));
    EXPECT_EQ((Field{8, 1, "status", "6 (unreachable)"}), explainMessage(encodeMessage(makeReply(6)), "PD")[3]);
}

TEST(Explain, AMalformedMessageGivesWhatCanBeRead) {
    const Bytes cut(pageRequest.begin(), pageRequest.begin() + 12);
    EXPECT_THAT(explainMessage(cut, ""),
                ElementsAre(Field{0, 0, "total length", "45"}, Field{3, 0, "category", "2 (request)"},
                            Field{4, 0, "command tag", "65, 2 bytes: \"BL\""},
                            Field{10, 0, "malformed", "element cut short"}, Field{10, 0, "rest", "0000"}));
}

TEST(Explain, SummarizesOnOneLine) {
    EXPECT_EQ("request \"BL\" whitelist_list", summarizeMessage(pageRequest, ""));
    EXPECT_EQ("reply to scan, status 3 (busy)", summarizeMessage(encodeMessage(makeReply(3)), "scan"));
    EXPECT_EQ("malformed: shorter than a message header", summarizeMessage(Bytes{1}, ""));
}

TEST(Explain, RandomMessagesAreExplainedWithoutEnd) {
    std::mt19937 random(7);
    for (int i = 0; i < 5000; ++i) {
        Bytes data(random() % 200);
        for (std::uint8_t& byte : data) {
            byte = static_cast<std::uint8_t>(random());
        }
        const char* commands[] = {"scan_list", "whitelist_list", "pair_status", ""};
        EXPECT_FALSE(explainMessage(encodeMessage(makeReply(0, data)), commands[random() % 4]).empty());
        explainMessage(data, "scan_list");
    }
}

} // namespace
} // namespace zvcamera
