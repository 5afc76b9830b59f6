#include "traceRecord.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace zvcamera {
namespace {

TEST(TraceRecord, AReplyQueueNamesItsProcess) {
    EXPECT_EQ(8, processOf("/to_ZVCC8"));
    EXPECT_EQ(2147483647, processOf("/to_ZVCC2147483647"));
    for (const char* other :
         {"", "/to_ble", "/to_ZVCC", "/to_ZVCC0", "/to_ZVCC-1", "/to_ZVCC8x", "/to_ZVCC 8", "/to_ZVCC2147483648"}) {
        EXPECT_EQ(0, processOf(other)) << other;
    }
}

TEST(TraceRecord, IsToldWithItsProcessOrNone) {
    TraceRecord record;
    record.number = 3;
    record.time = 1;
    record.daemon = "zvBleD";
    record.queue = "/to_ZVCC12";
    record.bytes = {0xab};
    EXPECT_EQ(nullptr, toJson(record).at("pid"));
    record.pid = 12;
    EXPECT_EQ((Json{{"number", 3},
                    {"micros", 1},
                    {"time", "1970-01-01T00:00:00.000001Z"},
                    {"daemon", "zvBleD"},
                    {"direction", "out"},
                    {"queue", "/to_ZVCC12"},
                    {"pid", 12},
                    {"command", ""},
                    {"note", ""},
                    {"hex", "ab"}}),
              toJson(record));
}

TEST(TraceRecord, GoesOutWithItsBytesAsDigits) {
    TraceRecord record;
    record.number = 7;
    record.time = 1795230000000001;
    record.daemon = "zvNetD";
    record.in = true;
    record.queue = "/to_zvnet";
    record.command = "whitelist_list";
    record.note = "sent";
    record.bytes = {0x00, 0x2d, 0xff};
    const Json json = toJson(record);
    EXPECT_EQ(7, json.at("number"));
    EXPECT_EQ(1795230000000001, json.at("micros"));
    EXPECT_EQ("2026-11-21T03:00:00.000001Z", json.at("time"));
    EXPECT_EQ("zvNetD", json.at("daemon"));
    EXPECT_EQ("in", json.at("direction"));
    EXPECT_EQ("/to_zvnet", json.at("queue"));
    EXPECT_EQ("whitelist_list", json.at("command"));
    EXPECT_EQ("sent", json.at("note"));
    EXPECT_EQ("002dff", json.at("hex"));
    record.in = false;
    EXPECT_EQ("out", toJson(record).at("direction"));
}

TEST(TraceRecord, TimesAreOfTheYearThatTheyTell) {
    EXPECT_EQ("1970-01-01T00:00:00.000000Z", timeText(0));
    EXPECT_EQ("2026-11-21T03:00:00.062500Z", timeText(1795230000062500));
}

} // namespace
} // namespace zvcamera
