// Thousands of replies that no daemon should send, always the same ones. Every command ends with an answer or a
// failure; the sanitizers tell whether it reads or writes where it should not.
#include "commands.h"
#include "listDaemon.h"

#include <algorithm>
#include <chrono>
#include <random>

namespace {

class RandomReplies : public BleTest {
protected:
    RandomReplies() { g_logLevel = UTIL_LOG_OFF; }

    std::uint8_t byte() { return static_cast<std::uint8_t>(random_()); }
    std::size_t below(std::size_t end) { return random_() % end; }
    bool oneIn(std::size_t n) { return below(n) == 0; }
    Bytes bytes(std::size_t size) {
        Bytes all(size);
        std::generate(all.begin(), all.end(), [this] { return byte(); });
        return all;
    }

    // A page that fits the request in most of its fields.
    Bytes nearlyRightPage(const Bytes& request) {
        const Bytes data = dataOf(request);
        const bool scan = !data.empty() && data[0] == 4;
        const std::size_t count = below(scan ? 16 : 37);
        Bytes page = bytes(4 + count * (scan ? 82 : 41));
        page[0] = oneIn(10) ? byte() : std::uint8_t{1};
        page[2] = data.size() == 3 && !oneIn(10) ? data[1] : byte();
        page[3] = static_cast<std::uint8_t>(oneIn(10) ? byte() : count);
        if (oneIn(10)) {
            page.resize(below(page.size()));
        }
        return replyOf(0, page);
    }

    Bytes randomReply(const Bytes& request) {
        Bytes reply =
            oneIn(3) ? replyOf(oneIn(4) ? byte() : std::uint8_t{0}, bytes(below(3))) : nearlyRightPage(request);
        if (oneIn(6)) {
            reply = bytes(below(1501));
        }
        for (std::size_t changes = oneIn(3) ? below(4) : 0; changes > 0 && !reply.empty(); --changes) {
            reply[below(reply.size())] = byte();
        }
        if (oneIn(8)) {
            reply.resize(below(reply.size() + 1));
        }
        return reply;
    }

    // A command either answers a text or fails with -1 and writes nothing.
    void expectAnswer(int result) {
        if (result == 0) {
            const std::string text = response();
            EXPECT_TRUE(text == "untouched" || (text.size() < 4096 && text.front() == '\n' && text.back() == '\n'));
        } else {
            EXPECT_EQ(-1, result);
            EXPECT_EQ("untouched", response());
        }
    }

    // Calls every command; the number of those that answered. None may take 15 seconds, the time of a single wait for a
    // reply that never comes.
    int callAll() {
        int answered = 0;
        for (const Command& command : commands) {
            const std::size_t before = peer_.requestCount();
            const auto start = std::chrono::steady_clock::now();
            const int result = call(command.handler, command.query);
            EXPECT_GE(std::chrono::seconds(15), std::chrono::steady_clock::now() - start);
            expectAnswer(result);
            answered += result == 0 ? 1 : 0;
            EXPECT_GE(2U * 255U, peer_.requestCount() - before);
        }
        return answered;
    }

    // The same replies every time.
    std::mt19937 random_{20250101}; // NOLINT(cert-msc32-c,cert-msc51-cpp)
};

} // namespace

TEST_F(RandomReplies, EveryCommandEnds) {
    peer_.replyWith([this](const Bytes& request) { return std::vector<Bytes>{randomReply(request)}; });
    int answered = 0;
    for (int i = 0; i < 400; ++i) {
        answered += callAll();
    }
    EXPECT_LT(400, answered);
}

TEST_F(RandomReplies, EveryCommandEndsWhileMessagesAreTraced) {
    g_logLevel = UTIL_LOG_TRACE;
    g_debug_level |= 0x100;
    peer_.replyWith([this](const Bytes& request) { return std::vector<Bytes>{randomReply(request)}; });
    int answered = 0;
    std::size_t traced = 0;
    for (int i = 0; i < 40; ++i) {
        answered += callAll();
        for (const std::string& line : logged()) {
            traced += line.rfind("UTIL_LOG_TRACE:message category ", 0) == 0 ? 1U : 0U;
        }
    }
    EXPECT_LT(40, answered);
    EXPECT_EQ(peer_.requestCount(), traced);
}

// What is left over in the reply queue is the next request's reply.
TEST_F(RandomReplies, EveryCommandEndsWithTwoRepliesToARequest) {
    peer_.replyWith([this](const Bytes& request) {
        return std::vector<Bytes>{randomReply(request), randomReply(request)};
    });
    for (int i = 0; i < 40; ++i) {
        callAll();
    }
}

TEST_F(RandomReplies, EveryCommandEndsWithoutSomeReplies) {
    hurry();
    peer_.replyWith([this](const Bytes& request) {
        return oneIn(2) ? std::vector<Bytes>{} : std::vector<Bytes>{randomReply(request)};
    });
    for (int i = 0; i < 100; ++i) {
        callAll();
    }
}

TEST_F(RandomReplies, EveryTruncationOfAPage) {
    const ListDaemon scan{1, 15, std::vector<Bytes>(3, Bytes(82, 0x20))};
    const ListDaemon whitelist{1, 30, whitelistOf(5)};
    for (const auto& [whole, handler] : {std::pair{scan.page(0, 15), Handler{ble_scan_list}},
                                         std::pair{whitelist.page(0, 255), Handler{ble_whitelist_list}}}) {
        for (std::size_t size = 0; size < whole.size(); ++size) {
            peer_.reply(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
            EXPECT_EQ(-1, call(handler, ""));
            EXPECT_EQ("untouched", response());
        }
        peer_.reply(whole);
        EXPECT_EQ(0, call(handler, ""));
    }
}
