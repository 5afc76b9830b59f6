#include "traceRecord.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace zvcamera {
namespace {

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
