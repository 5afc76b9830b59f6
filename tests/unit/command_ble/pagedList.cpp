#include "pagedList.h"

#include "listDaemon.h"

#include <chrono>
#include <ctime>
#include <thread>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// Keeps the first byte of every entry, and the headers.
class Collector : public BleListSink {
public:
    explicit Collector(int entrySize) : entrySize_(static_cast<std::size_t>(entrySize)) {}

    void begin(const BleListHeader& header) override { headers.push_back(header); }
    bool add(const BlePage& page) override {
        EXPECT_EQ(1496U, page.bytes.size()); // the message buffer behind a reply's header
        counts.push_back(page.count);
        for (std::size_t i = 0; i < static_cast<std::size_t>(page.count); ++i) {
            first.push_back(page.bytes[i * entrySize_]);
        }
        return counts.size() < enough;
    }

    std::vector<BleListHeader> headers;
    std::vector<int> counts;
    std::vector<int> first;
    std::size_t enough = 1000;

private:
    std::size_t entrySize_;
};

class PagedList : public BleTest {
protected:
    int acquire(std::optional<std::uint8_t> page = std::nullopt) {
        return acquireList(BleList::Whitelist, page, collector_);
    }
    // A reply whose entries are all zero.
    void replyPage(int id, int total, int index, int count) {
        peer_.reply(replyOf(
            0, pageData(id, total, index, count, std::vector<Bytes>(static_cast<std::size_t>(count), Bytes(41)))));
    }

    Collector collector_{41};
};

} // namespace

TEST_F(PagedList, EntrySizes) {
    EXPECT_EQ(82, entrySize(BleList::ScanResults));
    EXPECT_EQ(41, entrySize(BleList::Whitelist));
}

TEST_F(PagedList, WholeListInOnePage) {
    peer_.replyWith(ListDaemon{9, 255, whitelistOf(3)});
    EXPECT_EQ(0, acquire());
    EXPECT_THAT(sent(), ElementsAre(Bytes{6, 0, 255}));
    ASSERT_EQ(1U, collector_.headers.size());
    EXPECT_EQ(9, collector_.headers[0].id);
    EXPECT_EQ(3, collector_.headers[0].total);
    EXPECT_EQ(0, collector_.headers[0].index);
    EXPECT_EQ(3, collector_.headers[0].wanted);
    EXPECT_THAT(collector_.first, ElementsAre(0, 1, 2));
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(PagedList, FiftyEntriesInPagesOfThirty) {
    peer_.replyWith(ListDaemon{9, 30, whitelistOf(50)});
    EXPECT_EQ(0, acquire());
    EXPECT_THAT(sent(), ElementsAre(Bytes{6, 0, 255}, Bytes{6, 30, 20}));
    EXPECT_THAT(collector_.counts, ElementsAre(30, 20));
    EXPECT_EQ(50U, collector_.first.size());
    EXPECT_EQ(49, collector_.first.back());
    EXPECT_EQ(1U, collector_.headers.size());
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(PagedList, ScanListAsksForFifteen) {
    ListDaemon daemon{9, 255, {}};
    for (std::uint8_t i = 0; i < 32; ++i) {
        daemon.entries.push_back(scanEntry({i, 0, 0, 0, 0, 0}));
    }
    peer_.replyWith(daemon);
    Collector scan(82);
    EXPECT_EQ(0, acquireList(BleList::ScanResults, std::nullopt, scan));
    EXPECT_THAT(sent(), ElementsAre(Bytes{4, 0, 15}, Bytes{4, 15, 17}));
    EXPECT_EQ(32U, scan.first.size());
}

TEST_F(PagedList, ListOf255EntriesOneByOneIsTheLongest) {
    peer_.replyWith(ListDaemon{9, 1, whitelistOf(255)});
    EXPECT_EQ(0, acquire());
    EXPECT_EQ(255U, sent().size());
    EXPECT_EQ((Bytes{6, 254, 1}), sent().back());
    EXPECT_EQ(255U, collector_.first.size());
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(PagedList, EmptyListNeedsOneRequest) {
    peer_.replyWith(ListDaemon{9, 255, {}});
    EXPECT_EQ(0, acquire());
    EXPECT_EQ(1U, sent().size());
    EXPECT_THAT(collector_.counts, IsEmpty());
    EXPECT_EQ(1U, collector_.headers.size());
}

TEST_F(PagedList, EntriesOfAListThatIsEmptyAreNotDelivered) {
    replyPage(9, 0, 0, 3);
    EXPECT_EQ(0, acquire());
    EXPECT_THAT(sent(), ElementsAre(Bytes{6, 0, 255}));
    EXPECT_THAT(collector_.counts, IsEmpty());
    EXPECT_EQ(0, collector_.headers.at(0).wanted);
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(PagedList, SinglePageWantsWhatTheReplyHolds) {
    peer_.replyWith(ListDaemon{9, 30, whitelistOf(50)});
    EXPECT_EQ(0, acquire(40));
    EXPECT_THAT(sent(), ElementsAre(Bytes{6, 40, 255}));
    EXPECT_EQ(50, collector_.headers[0].total);
    EXPECT_EQ(40, collector_.headers[0].index);
    EXPECT_EQ(10, collector_.headers[0].wanted);
    EXPECT_EQ(10U, collector_.first.size());
}

TEST_F(PagedList, SinglePageBehindTheListIsEmpty) {
    peer_.replyWith(ListDaemon{9, 30, whitelistOf(5)});
    EXPECT_EQ(0, acquire(7));
    EXPECT_EQ(1U, sent().size());
    EXPECT_EQ(0, collector_.headers[0].wanted);
    EXPECT_THAT(collector_.counts, IsEmpty());
}

TEST_F(PagedList, SinkMayHaveEnough) {
    peer_.replyWith(ListDaemon{9, 10, whitelistOf(50)});
    collector_.enough = 2;
    EXPECT_EQ(0, acquire());
    EXPECT_EQ(2U, sent().size());
}

TEST_F(PagedList, ReplyWithMoreThanIsWantedEndsTheList) {
    replyPage(1, 3, 0, 5);
    EXPECT_EQ(0, acquire());
    EXPECT_THAT(collector_.counts, ElementsAre(5));
    EXPECT_EQ(3, collector_.headers[0].wanted);
    EXPECT_EQ(1U, sent().size());
}

TEST_F(PagedList, RebuiltOnceStartsAgainWithTheKeptMaximum) {
    replyPage(1, 50, 0, 30);
    replyPage(2, 50, 30, 20);
    replyPage(2, 50, 0, 20);
    replyPage(2, 50, 20, 30);
    EXPECT_EQ(0, acquire());
    EXPECT_THAT(sent(), ElementsAre(Bytes{6, 0, 255}, Bytes{6, 30, 20}, Bytes{6, 0, 20}, Bytes{6, 20, 30}));
    ASSERT_EQ(2U, collector_.headers.size());
    EXPECT_EQ(1, collector_.headers[0].id);
    EXPECT_EQ(2, collector_.headers[1].id);
    EXPECT_THAT(collector_.counts, ElementsAre(30, 20, 30)); // the page of the other generation is not delivered
    EXPECT_THAT(logged(), ElementsAre(warning("list_id changed on attempt:0 from 1 to 2 while acquiring list. "
                                              "Reacquiring!")));
}

TEST_F(PagedList, RebuiltTwiceFails) {
    replyPage(1, 50, 0, 30);
    replyPage(2, 50, 30, 20);
    replyPage(3, 50, 0, 20);
    replyPage(4, 50, 20, 20);
    EXPECT_EQ(-1, acquire());
    EXPECT_EQ(4U, sent().size());
    EXPECT_THAT(logged(),
                ElementsAre(warning("list_id changed on attempt:0 from 1 to 2 while acquiring list. Reacquiring!"),
                            warning("list_id changed on attempt:1 from 3 to 4 while acquiring list. Reacquiring!"),
                            "Failed to get continuous list results after 2 attempts."));
}

TEST_F(PagedList, RebuiltScanListNamesItsOwnId) {
    const auto scanPage = [](int id, int index) { return replyOf(0, pageData(id, 2, index, 1, {Bytes(82)})); };
    peer_.reply(scanPage(7, 0));
    peer_.reply(scanPage(8, 1));
    peer_.reply(scanPage(7, 0));
    peer_.reply(scanPage(8, 1));
    Collector scan(82);
    EXPECT_EQ(-1, acquireList(BleList::ScanResults, std::nullopt, scan));
    EXPECT_THAT(sent(), ElementsAre(Bytes{4, 0, 15}, Bytes{4, 1, 1}, Bytes{4, 0, 1}, Bytes{4, 1, 1}));
    EXPECT_THAT(logged(),
                ElementsAre(warning("scan_id changed on attempt:0 from 7 to 8 while acquiring list. Reacquiring!"),
                            warning("scan_id changed on attempt:1 from 7 to 8 while acquiring list. Reacquiring!"),
                            "Failed to get continuous list results after 2 attempts."));
}

TEST_F(PagedList, RebuiltListIsNoError) {
    const auto rebuilt = [this](BleList list, Collector& sink) {
        const auto entry = static_cast<std::size_t>(entrySize(list));
        peer_.reply(replyOf(0, pageData(1, 2, 0, 1, {Bytes(entry)})));
        peer_.reply(replyOf(0, pageData(2, 2, 1, 1, {Bytes(entry)})));
        peer_.reply(replyOf(0, pageData(2, 1, 0, 1, {Bytes(entry)})));
        EXPECT_EQ(0, acquireList(list, std::nullopt, sink));
        EXPECT_EQ(2U, sink.headers.size());
    };
    Collector scan(82);
    g_logLevel = 2;
    rebuilt(BleList::Whitelist, collector_);
    rebuilt(BleList::ScanResults, scan);
    EXPECT_THAT(logged(), IsEmpty());

    Collector louder(41);
    Collector louderScan(82);
    g_logLevel = 3;
    rebuilt(BleList::Whitelist, louder);
    rebuilt(BleList::ScanResults, louderScan);
    EXPECT_THAT(logged(),
                ElementsAre(warning("list_id changed on attempt:0 from 1 to 2 while acquiring list. Reacquiring!"),
                            warning("scan_id changed on attempt:0 from 1 to 2 while acquiring list. Reacquiring!")));
}

TEST_F(PagedList, EmptiedListIsAcquiredOnTheSecondAttempt) {
    replyPage(1, 50, 0, 30);
    replyPage(2, 0, 30, 0);
    replyPage(2, 0, 0, 0);
    EXPECT_EQ(0, acquire());
    EXPECT_THAT(sent(), ElementsAre(Bytes{6, 0, 255}, Bytes{6, 30, 20}, Bytes{6, 0, 20}));
    EXPECT_EQ(0, collector_.headers[1].wanted);
}

TEST_F(PagedList, OtherIndexFailsAtOnce) {
    replyPage(1, 50, 1, 10);
    EXPECT_EQ(-1, acquire());
    EXPECT_THAT(logged(), ElementsAre("Requested data from index:0 got data from :1"));
    EXPECT_EQ(1U, sent().size());
    EXPECT_THAT(collector_.headers, IsEmpty());
}

TEST_F(PagedList, OtherIndexOnALaterPageFailsAtOnceWhateverTheId) {
    replyPage(1, 50, 0, 30);
    replyPage(2, 50, 0, 20);
    EXPECT_EQ(-1, acquire());
    EXPECT_THAT(logged(), ElementsAre("Requested data from index:30 got data from :0"));
    EXPECT_EQ(2U, sent().size());
}

TEST_F(PagedList, MoreThanAskedForFails) {
    replyPage(1, 50, 0, 30);
    replyPage(1, 50, 30, 21);
    EXPECT_EQ(-1, acquire());
    EXPECT_THAT(logged(), ElementsAre("Requested 20 entries got 21"));
    EXPECT_THAT(collector_.counts, ElementsAre(30));
}

TEST_F(PagedList, IndexIsCheckedBeforeTheCount) {
    peer_.reply(replyOf(0, pageData(1, 50, 3, 16, {})));
    Collector scan(82);
    EXPECT_EQ(-1, acquireList(BleList::ScanResults, std::nullopt, scan));
    peer_.reply(replyOf(0, pageData(1, 50, 0, 16, {})));
    EXPECT_EQ(-1, acquireList(BleList::ScanResults, std::nullopt, scan));
    EXPECT_THAT(logged(), ElementsAre("Requested data from index:0 got data from :3", "Requested 15 entries got 16"));
}

TEST_F(PagedList, ReplyShorterThanItsHeader) {
    for (const std::size_t size : {0U, 1U, 2U, 3U}) {
        peer_.reply(replyOf(0, Bytes(size)));
        EXPECT_EQ(-1, acquire());
        EXPECT_THAT(logged(),
                    ElementsAre("List response of " + std::to_string(size) + " bytes is shorter than its header"));
    }
}

TEST_F(PagedList, ReplyShorterThanItsCountSays) {
    const Bytes whole = pageData(1, 3, 0, 3, whitelistOf(3));
    for (std::size_t size = 4; size < whole.size(); ++size) {
        peer_.reply(replyOf(0, Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size))));
        EXPECT_EQ(-1, acquire());
        EXPECT_THAT(logged(),
                    ElementsAre("List response of " + std::to_string(size) + " bytes is too short for 3 entries"));
    }
    EXPECT_THAT(collector_.headers, IsEmpty());
    peer_.reply(replyOf(0, whole));
    EXPECT_EQ(0, acquire());
}

TEST_F(PagedList, HeaderAloneOfARebuiltListStartsAgain) {
    replyPage(1, 50, 0, 30);
    peer_.reply(replyOf(0, pageData(2, 50, 30, 20, {})));
    replyPage(2, 20, 0, 20);
    EXPECT_EQ(0, acquire());
    EXPECT_THAT(sent(), ElementsAre(Bytes{6, 0, 255}, Bytes{6, 30, 20}, Bytes{6, 0, 20}));
    EXPECT_THAT(collector_.counts, ElementsAre(30, 20));
    EXPECT_THAT(logged(), ElementsAre(warning("list_id changed on attempt:0 from 1 to 2 while acquiring list. "
                                              "Reacquiring!")));
}

TEST_F(PagedList, HeaderAloneOfAnEmptyListIsEnough) {
    peer_.reply(replyOf(0, pageData(9, 0, 0, 3, {})));
    EXPECT_EQ(0, acquire());
    EXPECT_THAT(collector_.counts, IsEmpty());
    EXPECT_EQ(0, collector_.headers.at(0).wanted);
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(PagedList, LaterPageShorterThanItsCountSays) {
    replyPage(1, 50, 0, 30);
    peer_.reply(replyOf(0, pageData(1, 50, 30, 20, {})));
    EXPECT_EQ(-1, acquire());
    EXPECT_THAT(collector_.counts, ElementsAre(30));
    EXPECT_THAT(logged(), ElementsAre("List response of 4 bytes is too short for 20 entries"));
}

TEST_F(PagedList, BytesBehindTheEntriesAreIgnored) {
    peer_.reply(replyOf(0, join({pageData(1, 3, 0, 3, whitelistOf(3)), {1, 2, 3}})));
    EXPECT_EQ(0, acquire());
    EXPECT_THAT(collector_.first, ElementsAre(0, 1, 2));
}

TEST_F(PagedList, DaemonThatNeverDeliversEnds) {
    peer_.replyWith([](const Bytes& request) {
        return std::vector<Bytes>{replyOf(0, pageData(1, 50, dataOf(request)[1], 0, {}))};
    });
    EXPECT_EQ(-1, acquire());
    EXPECT_EQ(255U, sent().size());
    EXPECT_THAT(logged(), ElementsAre("Failed to get the whole list with 255 requests"));
}

TEST_F(PagedList, SlowDaemonIsGivenUpAfter60Seconds) {
    peer_.replyWith([daemon = ListDaemon{9, 1, whitelistOf(255)}](const Bytes& request) {
        faults::monotonicOffset += 10;
        return daemon(request);
    });
    EXPECT_EQ(-1, acquire());
    EXPECT_EQ(6U, sent().size());
    EXPECT_EQ(6U, collector_.first.size());
    EXPECT_THAT(logged(), ElementsAre("Failed to get the whole list within 60 seconds"));
}

// 59 seconds and a part of one, in which the clock's seconds go on by 60.
TEST_F(PagedList, PartsOfASecondCount) {
    timespec time{};
    do {
        clock_gettime(CLOCK_MONOTONIC, &time);
    } while (time.tv_nsec < 900000000 || time.tv_nsec > 980000000);
    peer_.replyWith([daemon = ListDaemon{9, 1, whitelistOf(2)}](const Bytes& request) {
        if (dataOf(request)[1] == 0) {
            faults::monotonicOffset += 59;
            std::this_thread::sleep_for(std::chrono::milliseconds(120));
        }
        return daemon(request);
    });
    EXPECT_EQ(0, acquire());
    EXPECT_EQ(2U, sent().size());
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(PagedList, ListThatIsCompleteAfter60SecondsIsDelivered) {
    peer_.replyWith([daemon = ListDaemon{9, 1, whitelistOf(6)}](const Bytes& request) {
        faults::monotonicOffset += 10;
        return daemon(request);
    });
    EXPECT_EQ(0, acquire());
    EXPECT_EQ(6U, sent().size());
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(PagedList, SecondAttemptHasNoTimeOfItsOwn) {
    int id = 0;
    peer_.replyWith([&id](const Bytes& request) {
        ++id;
        faults::monotonicOffset += id == 2 ? 50 : 10;
        return std::vector<Bytes>{replyOf(0, pageData(id, 50, dataOf(request)[1], 1, {Bytes(41)}))};
    });
    EXPECT_EQ(-1, acquire());
    EXPECT_EQ(2U, sent().size());
    EXPECT_THAT(logged(),
                ElementsAre(warning("list_id changed on attempt:0 from 1 to 2 while acquiring list. Reacquiring!"),
                            "Failed to get the whole list within 60 seconds"));
}

TEST_F(PagedList, EveryAcquisitionHasItsOwn60Seconds) {
    peer_.replyWith([daemon = ListDaemon{9, 1, whitelistOf(3)}](const Bytes& request) {
        faults::monotonicOffset += 25;
        return daemon(request);
    });
    EXPECT_EQ(0, acquire());
    EXPECT_EQ(0, acquire());
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(PagedList, Refused) {
    peer_.reply(replyOf(1));
    EXPECT_EQ(-1, acquire());
    EXPECT_THAT(logged(), ElementsAre("Failed to get proper response for scan results: -1"));
}

TEST_F(PagedList, RefusedOnALaterPage) {
    replyPage(1, 50, 0, 30);
    peer_.reply(replyOf(1));
    EXPECT_EQ(-1, acquire());
    EXPECT_THAT(logged(), ElementsAre("Failed to get proper response for scan results: -1"));
}

TEST_F(PagedList, WithoutAReply) {
    peer_.stayMute();
    hurry();
    EXPECT_EQ(-1, acquire());
    EXPECT_THAT(logged(), ElementsAre("Failed error:Connection timed out, timeout\n", noReply,
                                      "Failed to get proper response for scan results: -1"));
}

TEST_F(PagedList, FailedSendIsNotWaitedFor) {
    EXPECT_EQ(0, ble_interface_close());
    EXPECT_EQ(-1, acquire());
    EXPECT_THAT(logged(),
                ElementsAre("Failed, IF not open", ownRequest, "Failed to get proper response for scan results: -1"));
    EXPECT_EQ(0, ble_interface_open());
}

TEST_F(PagedList, StartIndexOfAQuery) {
    const struct {
        const char* query;
        std::optional<std::uint8_t> page;
    } rows[] = {{"p=0", 0}, {"p=300", 44}, {"p=-1", 255}, {"p=7x", 7}, {"q=1", std::nullopt}, {"", std::nullopt}};
    for (const auto& row : rows) {
        std::optional<std::uint8_t> page;
        EXPECT_EQ(0, readPage(row.query, page)) << row.query;
        EXPECT_EQ(row.page, page) << row.query;
    }
    std::optional<std::uint8_t> page;
    EXPECT_EQ(-3, readPage("p=x", page));
    EXPECT_THAT(logged(), ElementsAre("Error parsing p parameter [x]"));
}

TEST_F(PagedList, OutOfMemory) {
    EXPECT_EQ(-1, listOutOfMemory());
    EXPECT_THAT(logged(), ElementsAre("No memory for the list"));
}
