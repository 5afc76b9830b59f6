#include "analytics.h"

#include "scenarioText.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <system_error>

using namespace zvcamera;
using std::chrono::milliseconds;
using Bytes = std::vector<unsigned char>;

namespace {

constexpr const char* file = "/tmp/store/analytics/analytics.bin";

std::int64_t sizeOf(const char* path = file) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    return error ? -1 : static_cast<std::int64_t>(size);
}

Bytes content() {
    std::ifstream stream(file, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(stream), {});
}

void runFor(EventLoop& loop, milliseconds time) {
    for (const auto end = EventLoop::Clock::now() + time; EventLoop::Clock::now() < end;) {
        loop.runOnce(milliseconds(5));
    }
}

std::string scenarioError(const char* scenario) {
    EventLoop loop;
    try {
        const Analytics analytics(loop, file, scenarioOf(scenario));
    } catch (const JsonError& error) {
        return error.what();
    }
    return "(none)";
}

class AnalyticsTest : public testing::Test {
protected:
    Analytics make(const char* scenario = "{}") { return Analytics(loop_, file, scenarioOf(scenario)); }
    void runUntilItIs(std::int64_t size) {
        for (int i = 0; i < 1000 && sizeOf() != size; ++i) {
            loop_.runOnce(milliseconds(5));
        }
        EXPECT_EQ(size, sizeOf());
    }
    EventLoop loop_;
};

} // namespace

TEST_F(AnalyticsTest, ThereIsNoFileAndNoCollectingByDefault) {
    const Analytics analytics = make();
    runFor(loop_, milliseconds(50));
    EXPECT_EQ(-1, sizeOf());
    EXPECT_EQ(file, analytics.path());
    EXPECT_EQ((Json{{"collect", false},
                    {"interval_ms", 1000},
                    {"limit", 1048576},
                    {"on_clear", "empty"},
                    {"file", file},
                    {"path", file},
                    {"size", nullptr}}),
              analytics.toJson());
}

TEST_F(AnalyticsTest, GrowsRecordByRecord) {
    const Analytics analytics = make(R"({"analytics":{"collect":true,"interval_ms":10}})");
    runFor(loop_, milliseconds(30));
    const std::int64_t early = sizeOf();
    EXPECT_GT(early, 0);
    runFor(loop_, milliseconds(100));
    EXPECT_GT(sizeOf(), early);
}

TEST_F(AnalyticsTest, StopsAndGoesOn) {
    Analytics analytics = make(R"({"analytics":{"collect":true,"interval_ms":10}})");
    analytics.stopCollecting();
    runFor(loop_, milliseconds(50));
    EXPECT_EQ(-1, sizeOf());
    EXPECT_EQ(false, analytics.toJson().at("collect"));
    analytics.collect(milliseconds(20));
    EXPECT_EQ(20, analytics.toJson().at("interval_ms"));
    runFor(loop_, milliseconds(60));
    EXPECT_GT(sizeOf(), 0);
}

TEST_F(AnalyticsTest, DoesNotGrowBeyondItsLimitAndGoesOnOnceCleared) {
    Analytics analytics = make(R"({"analytics":{"collect":true,"interval_ms":10,"limit":70}})");
    runFor(loop_, milliseconds(200));
    EXPECT_EQ(20 + 24 + 20, sizeOf()); // a fourth record of 24 bytes would be too much
    analytics.clear();
    runFor(loop_, milliseconds(100));
    EXPECT_GT(sizeOf(), 0);
    EXPECT_LE(sizeOf(), 70);
}

TEST_F(AnalyticsTest, AnotherLimitCountsFromTheNextRecordOn) {
    Analytics analytics = make(R"({"analytics":{"collect":true,"interval_ms":10,"limit":30}})");
    runUntilItIs(20);
    runFor(loop_, milliseconds(50));
    EXPECT_EQ(20, sizeOf());
    analytics.setLimit(70);
    EXPECT_EQ(70, analytics.toJson().at("limit"));
    runUntilItIs(20 + 24 + 20);
}

TEST_F(AnalyticsTest, IsExactlyAsLongAsAsked) {
    Analytics analytics = make();
    for (const std::int64_t size : {std::int64_t{2500}, std::int64_t{0}, std::int64_t{1}, std::int64_t{1024},
                                    std::int64_t{1048576}, std::int64_t{1048577}}) {
        analytics.setSize(size);
        EXPECT_EQ(size, sizeOf());
        EXPECT_EQ(size, analytics.toJson().at("size"));
    }
}

TEST_F(AnalyticsTest, AGiganticFileTakesNoRoom) {
    Analytics analytics = make();
    analytics.setSize(std::int64_t{1} << 30);
    struct stat status {};
    ASSERT_EQ(0, stat(file, &status));
    EXPECT_EQ(std::int64_t{1} << 30, status.st_size);
    EXPECT_LT(status.st_blocks * 512, 4 << 20);
}

TEST_F(AnalyticsTest, AGivenSizeEndsTheCollecting) {
    Analytics analytics = make(R"({"analytics":{"collect":true,"interval_ms":10,"size":100}})");
    EXPECT_EQ(100, sizeOf());
    runFor(loop_, milliseconds(40));
    EXPECT_GT(sizeOf(), 100); // the scenario says both: it grows from there
    analytics.setSize(2500);
    runFor(loop_, milliseconds(50));
    EXPECT_EQ(2500, sizeOf());
}

TEST_F(AnalyticsTest, TheSameSizeMeansTheSameBytes) {
    Analytics analytics = make();
    analytics.setSize(2500);
    const Bytes first = content();
    analytics.setSize(5000);
    analytics.setSize(2500);
    EXPECT_EQ(first, content());
    EXPECT_EQ((Bytes{'Z', 'A', 1, 4, 0, 0, 0, 0}), Bytes(first.begin(), first.begin() + 8));
}

TEST_F(AnalyticsTest, BytesAreAppended) {
    Analytics analytics = make();
    const Bytes one = {1, 2};
    const Bytes two = {3};
    analytics.append(one);
    analytics.append(two);
    EXPECT_EQ((Bytes{1, 2, 3}), content());
}

TEST_F(AnalyticsTest, ClearingEmptiesRemovesOrKeeps) {
    Analytics analytics = make();
    analytics.appendRecords(3);
    analytics.clear();
    EXPECT_EQ(0, sizeOf());
    analytics.appendRecords(3);
    analytics.setOnClear("keep");
    analytics.clear();
    EXPECT_EQ(24 + 20 + 24, sizeOf());
    analytics.setOnClear("remove");
    analytics.clear();
    EXPECT_EQ(-1, sizeOf());
    analytics.clear(); // nothing to remove is no failure
    EXPECT_THROW(analytics.setOnClear("burn"), JsonError);
}

TEST_F(AnalyticsTest, AnotherPathCanBeAnswered) {
    Analytics analytics = make(R"({"analytics":{"path":"/nowhere"}})");
    EXPECT_EQ("/nowhere", analytics.path());
    analytics.setPath("");
    EXPECT_EQ(file, analytics.path());
    EXPECT_THROW(analytics.setPath(std::string(4097, 'x')), JsonError);
    EXPECT_THROW(analytics.setPath(std::string("a\0b", 3)), JsonError);
    EXPECT_EQ(file, analytics.path());
}

TEST_F(AnalyticsTest, AFileThatCannotBeWrittenIsSaidAndSurvived) {
    std::filesystem::create_directories(file); // a folder is in its place
    Analytics analytics = make(R"({"analytics":{"collect":true,"interval_ms":10}})");
    runFor(loop_, milliseconds(50));
    EXPECT_THROW(analytics.clear(), std::system_error);
    EXPECT_THROW(analytics.setSize(5), std::system_error);
    EXPECT_THROW(analytics.appendRecords(1), std::system_error);
}

TEST(AnalyticsScenario, NamesWhatIsWrong) {
    EXPECT_EQ("analytics.interval_ms: must be a whole number from 10 to 3600000",
              scenarioError(R"({"analytics":{"interval_ms":9}})"));
    EXPECT_EQ("analytics.size: must be a whole number from 0 to 1099511627776",
              scenarioError(R"({"analytics":{"size":-1}})"));
    EXPECT_EQ("analytics.on_clear: must be empty, remove or keep", scenarioError(R"({"analytics":{"on_clear":"x"}})"));
    EXPECT_EQ("analytics.colour: unknown key", scenarioError(R"({"analytics":{"colour":1}})"));
}
