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

} // namespace
} // namespace zvcamera
