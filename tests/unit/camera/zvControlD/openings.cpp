#include "openings.h"

#include "traceRecord.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>

using namespace zvcamera;

namespace {

void add(Openings& openings, const std::string& port, pid_t gateway) {
    openings.add({reinterpret_cast<const unsigned char*>(port.data()), port.size()}, gateway);
}

} // namespace

TEST(Openings, TellWhichGatewayServesWhichPort) {
    Openings openings;
    EXPECT_EQ(Json::array(), openings.toJson());
    const std::int64_t before = wallClock();
    add(openings, "40001", 12);
    add(openings, "", 13); // its web server tells no port
    add(openings, "00080", 14);
    const Json told = openings.toJson();
    ASSERT_EQ(2U, told.size());
    EXPECT_EQ(12, told[0].at("pid"));
    EXPECT_EQ(40001, told[0].at("port"));
    EXPECT_LE(before, told[0].at("micros").get<std::int64_t>());
    EXPECT_GE(wallClock(), told[0].at("micros").get<std::int64_t>());
    EXPECT_EQ(80, told[1].at("port"));
}

TEST(Openings, TheOldestMakeRoom) {
    Openings openings;
    for (pid_t gateway = 1; gateway <= static_cast<pid_t>(Openings::limit) + 5; ++gateway) {
        add(openings, "1", gateway);
    }
    const Json told = openings.toJson();
    EXPECT_EQ(Openings::limit, told.size());
    EXPECT_EQ(6, told[0].at("pid"));
}
