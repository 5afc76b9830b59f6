#include "scgiRequest.h"

#include "scgiClient.h"
#include "scgiHeader.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <thread>

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

// A request that is sent as it is, in pieces of a size, over a connection that is closed then unless it is kept.
struct Received {
    explicit Received(const std::string& bytes, std::size_t piece = 1U << 20, bool kept = false,
                      std::chrono::milliseconds limit = 10s) {
        int ends[2];
        EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
        zv::UniqueFd here(ends[0]);
        zv::UniqueFd there(ends[1]);
        std::thread writer([&] {
            for (std::size_t at = 0; at < bytes.size(); at += piece) {
                const std::string part = bytes.substr(at, piece);
                static_cast<void>(send(there.get(), part.data(), part.size(), MSG_NOSIGNAL));
            }
            if (!kept) {
                shutdown(there.get(), SHUT_WR);
            }
        });
        reason = receiveScgiRequest(here.get(), limit, request);
        writer.join();
        here.reset();
        answer = zvtest::rest(there);
    }
    std::vector<std::string> variables() const {
        std::vector<std::string> all;
        for (char** text = request.environment; *text != nullptr; ++text) {
            all.emplace_back(*text);
        }
        return all;
    }

    ScgiRequest request;
    const char* reason = nullptr;
    std::string answer;
};

TEST(ScgiRequest, HasItsVariables) {
    const Received received(zvtest::scgiRequest({{"PATH_INFO", "/execute"}, {"QUERY_STRING", "p1=a"}}));
    EXPECT_EQ(nullptr, received.reason);
    EXPECT_THAT(received.variables(),
                ElementsAre("CONTENT_LENGTH=0", "SCGI=1", "PATH_INFO=/execute", "QUERY_STRING=p1=a"));
}

TEST(ScgiRequest, MayArriveByteByByte) {
    const Received received(zvtest::scgiRequest({{"PATH_INFO", "/a"}}, "body"), 1);
    EXPECT_EQ(nullptr, received.reason);
    EXPECT_THAT(received.variables(), ElementsAre("CONTENT_LENGTH=4", "SCGI=1", "PATH_INFO=/a"));
    EXPECT_EQ("body", zvtest::rest(received.request.body));
}

TEST(ScgiRequest, IsThereWhileTheConnectionStaysOpen) {
    const Received received(zvtest::scgiRequest({}, "body"), 1U << 20, true);
    EXPECT_EQ(nullptr, received.reason);
    EXPECT_EQ("body", zvtest::rest(received.request.body));
}

TEST(ScgiRequest, WithoutABodyHasTheNullDevice) {
    const Received received(zvtest::scgiRequest({}));
    EXPECT_EQ(nullptr, received.reason);
    EXPECT_EQ("", zvtest::rest(received.request.body));
}

TEST(ScgiRequest, TheBodyHasTheLengthThatWasAnnounced) {
    const std::string header = zvtest::scgiVariables({{"CONTENT_LENGTH", "4"}, {"SCGI", "1"}});
    EXPECT_EQ("body", zvtest::rest(Received(zvtest::netstring(header) + "body and more").request.body));
}

TEST(ScgiRequest, TakesABodyOfAMebibyte) {
    const std::string body(1U << 20, 'x');
    const Received received(zvtest::scgiRequest({}, body), 100000);
    EXPECT_EQ(nullptr, received.reason);
    EXPECT_EQ(body, zvtest::rest(received.request.body));
}

TEST(ScgiRequest, AnswersALongerBody) {
    const Received received(zvtest::scgiRequest({}, std::string((1U << 20) + 1, 'x')));
    EXPECT_STREQ("its body is too long", received.reason);
    EXPECT_EQ("Status: 413 Content Too Large\r\nContent-Type: text/html\r\n\r\n<h1>413 Content Too Large</h1>\n",
              received.answer);
}

TEST(ScgiRequest, TakesALongHeader) {
    const std::string query(262000, 'x');
    const Received received(zvtest::scgiRequest({{"QUERY_STRING", query}}), 5000);
    EXPECT_EQ(nullptr, received.reason);
    EXPECT_THAT(received.variables(), ElementsAre("CONTENT_LENGTH=0", "SCGI=1", "QUERY_STRING=" + query));
}

TEST(ScgiRequest, TakesManyVariables) {
    EXPECT_EQ(nullptr, Received(zvtest::scgiRequest(zvtest::Variables(4094, {"A", ""}))).reason);
    EXPECT_STREQ("its header has too many variables",
                 Received(zvtest::scgiRequest(zvtest::Variables(4095, {"A", ""}))).reason);
}

TEST(ScgiRequest, IsRefusedAsSoonAsItIsWrong) {
    EXPECT_STREQ("it does not begin with a header", Received("GET / HTTP/1.0\r\n", 1, true).reason);
    const std::string header = zvtest::netstring(zvtest::scgiVariables({{"CONTENT_LENGTH", "9"}}));
    EXPECT_STREQ("its header has no SCGI=1", Received(header, 1U << 20, true).reason);
}

TEST(ScgiRequest, MustArriveWhole) {
    const std::string whole = zvtest::scgiRequest({{"A", "b"}}, "body");
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_STREQ("it ended before it was whole", Received(whole.substr(0, size)).reason) << size;
    }
}

TEST(ScgiRequest, MustArriveInTime) {
    const std::string whole = zvtest::scgiRequest({{"A", "b"}}, "body");
    for (const std::size_t size : {std::size_t{0}, std::size_t{9}, whole.size() - 1}) {
        EXPECT_STREQ("it took too long to arrive", Received(whole.substr(0, size), 1U << 20, true, 50ms).reason)
            << size;
    }
}

TEST(ScgiRequest, NeedsRoomForItsBody) {
    int ends[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
    ASSERT_TRUE(zv::writeAll(ends[1], zvtest::scgiRequest({}, "body")));
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit few{0, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &few);
    ScgiRequest request;
    const char* const reason = receiveScgiRequest(ends[0], 10s, request);
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_STREQ("there is no room for its body", reason);
}

} // namespace
