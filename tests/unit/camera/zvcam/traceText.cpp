#include "traceText.h"

#include "hexText.h"
#include "tlv.h"
#include "traceRing.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace zvcamera {
namespace {

const Bytes pageRequest{0x00, 0x2d, 0x00, 0x02, 0x00, 0x00, 0x02, 0x41, 'B', 'L', 0x00, 0x00, 0x03, 0x42, 0x06,
                        0x1e, 0x14, 0x00, 0x00, 0x09, 0x44, '/',  't',  'o', '_', 'Z',  'V',  'C',  'C',  '7',
                        0x00, 0x00, 0x07, 0x43, '/',  't',  'o',  '_',  'b', 'l', 'e',  0x00, 0x00, 0x00, 0xee};

TEST(TraceText, ARecordGoesThroughItsFileAndBack) {
    TraceRing ring("zvNetD");
    TraceRecord record;
    record.in = true;
    record.queue = "/to_zvnet";
    record.command = "whitelist_list";
    record.note = "sent";
    record.bytes = pageRequest;
    ring.add(record);
    const Json json = Json::parse(ring.since(0)[0].dump());
    EXPECT_EQ(toHex(pageRequest), json.at("hex"));
    const TraceRecord read = readTraceRecord(json);
    EXPECT_EQ(1U, read.number);
    EXPECT_EQ("zvNetD", read.daemon);
    EXPECT_TRUE(read.in);
    EXPECT_EQ(pageRequest, read.bytes);
    EXPECT_EQ(toText(read, true), toText(readTraceRecord(json), true));
    EXPECT_THROW(readTraceRecord({{"direction", "in"}, {"hex", "0"}}), JsonError);
    EXPECT_THROW(readTraceRecord({{"direction", "up"}, {"hex", ""}}), JsonError);
}

TEST(TraceText, IsReadableInATerminal) {
    TraceRecord record;
    record.time = 1795230000000001;
    record.daemon = "zvBleD";
    record.queue = "/to_ZVCC7";
    record.command = "pair_status";
    record.note = "sent";
    record.bytes = encodeMessage(makeReply(0, Bytes{1}));
    EXPECT_EQ("2026-11-21T03:00:00.000001Z  zvBleD -> /to_ZVCC7  14 bytes  reply to "
              "pair_status, status 0 (ok)  [sent]\n"
              "    0000  total length: 14\n"
              "    0003  category: 3 (reply)\n"
              "    0004  response: 69, 2 bytes\n"
              "    0008    status: 0 (ok)\n"
              "    0009    pairing status: 1 (pairing)\n"
              "    0010  tail: 238, 0 bytes\n",
              toText(record, true));
}

} // namespace
} // namespace zvcamera
