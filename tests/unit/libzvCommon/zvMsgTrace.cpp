// The trace of sent messages.
#include "messageHolders.h"
#include "zvHexdump.h"
#include "zvMsg.h"

#include <climits>
#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace zvtest;

TEST(ZvMsg, SentMessagesAreTracedUnderBit8AndTheirClass) {
    zvMbox_attr inbox;
    ASSERT_EQ(0, zvMbox_rxopen("/to", 2, &inbox));
    const auto send = [](int direction, std::uint32_t classes) {
        return [=] {
            g_debug = classes;
            Holder message = request();
            zvmsg_send(message, "/me", "/to", nullptr, direction);
        };
    };
    const auto linesOf = [&](std::uint32_t switches, int direction, std::uint32_t classes) {
        const Reported all = reported(switches, send(direction, classes));
        EXPECT_EQ(0, all.ended.status);
        EXPECT_EQ(requestBytes, received(inbox));
        return texts(all);
    };
    const Texts sent = {
        "\n",
        "DB>         00000000  00230007 00000241 50440000 03420102  .#.....APD...B..\n",
        "DB>         00000010  03000003 442f6d65 00000343 2f746f00  ....D/me...C/to.\n",
        "DB>         00000020  0000ee                               ...             \n",
    };
    EXPECT_EQ(sent, linesOf(0x108, 25, 0x30000000));
    EXPECT_EQ(sent, linesOf(0x108, 25, 0x10000000));
    EXPECT_EQ(Texts{}, linesOf(0x108, 25, 0x20000000));
    EXPECT_EQ(Texts{}, linesOf(0x008, 25, 0x30000000)); // bit 8 off
    EXPECT_EQ(Texts{}, linesOf(0x107, 25, 0x30000000)); // verbosity
    EXPECT_EQ(" UD>        ", linesOf(0x108, 10, 0x200)[1].substr(0, 12));
    for (const int none : {0, 27, -1, 28, INT_MAX, INT_MIN}) {
        EXPECT_EQ(Texts{}, linesOf(0x108, none, 0xFFFFFFFF)) << none;
    }
}

TEST(ZvMsg, OnlyTheTwoLastDirectionsAreTracedAtFirst) {
    zvMbox_attr inbox;
    ASSERT_EQ(0, zvMbox_rxopen("/to", 2, &inbox));
    const std::uint32_t initial = g_debug_level;
    const auto sweep = [&inbox](std::uint32_t switches) {
        const Reported all = reported(switches, [&inbox] {
            for (int direction = 0; direction < ZVMSG_DIRECTIONS; ++direction) {
                Holder message = request();
                zvmsg_send(message, "/me", "/to", nullptr, direction);
                EXPECT_EQ(requestBytes, received(inbox));
            }
        });
        EXPECT_EQ(0, all.ended.status) << all.ended.out;
        Texts markers;
        for (const LogLine& each : all.lines) {
            markers.push_back(each.text.substr(0, 12));
        }
        return markers;
    };
    EXPECT_EQ(Texts{}, sweep(initial)); // bit 8 is off
    EXPECT_EQ((Texts{"\n", "DB>         ", "DB>         ", "DB>         ", "\n", "DB<         ", "DB<         ",
                     "DB<         "}),
              sweep(initial | 0x100));
}

TEST(ZvMsg, ExchangeIsTracedAsWellAndInvalidMessagesBeforeTheProcessEnds) {
    zvMbox_attr inbox;
    ASSERT_EQ(0, zvMbox_rxopen("/to", 2, &inbox));
    EXPECT_EQ(4U, reported(0x108, [] {
                      g_timedreceive = 0;
                      Holder message = request();
                      zvmsg_send_timedreceive(message, "/me", "/to", nullptr, 26);
                  }).lines.size());
    const Texts lines = texts(reported(0x108, [] {
        Holder message = request(16);
        zvmsg_send(message, "/me", "/to", nullptr, 26);
    }));
    ASSERT_EQ(4U, lines.size());
    EXPECT_EQ("DB<         00000010  03                                   .               \n", lines[2]);
    EXPECT_THAT(lines[3], testing::HasSubstr("zvmsg_send:45:"));
}
