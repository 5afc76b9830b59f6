#include "adminServer.h"

#include "adminClient.h"
#include "unixSocket.h"

#include <atomic>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <thread>

namespace zvcamera {
namespace {

using std::chrono::milliseconds;
using ::testing::HasSubstr;
using zvtest::AdminClient;

// A server in a thread of its own, with an operation that doubles, one that fails and a subscription.
class AdminServerTest : public testing::Test {
protected:
    void SetUp() override {
        thread_ = std::thread([this] { serve(); });
        while (!ready_) {
            std::this_thread::yield();
        }
    }
    void TearDown() override {
        ending_ = true;
        thread_.join();
    }

    void serve() {
        EventLoop loop;
        AdminServer server(loop, path_);
        server.on("double", [](const Json& request) { return Json(request.at("n").get<int>() * 2); });
        server.on("fail", [](const Json&) -> Json { throw Refusal("not today"); });
        server.on("wrong", [](const Json&) -> Json { throw JsonError("n: must be a number"); });
        server.on("hex", [](const Json&) -> Json { throw std::invalid_argument("no hex"); });
        server.on("big", [](const Json&) { return Json(std::string(1 << 20, 'x')); });
        server.onSubscribe("news", [](const Json&) { return Json("since now"); });
        server.on("publish", [&](const Json& request) {
            server.publish("news", request.at("what"));
            return Json(server.hasSubscribers("news"));
        });
        server.on("clients", [&](const Json&) { return Json(server.clients()); });
        ready_ = true;
        while (!ending_ && loop.runOnce(milliseconds(5))) {
        }
    }

    // What the server answers to raw bytes, until it closes or `lines` have come.
    std::string raw(const std::string& text, int lines) {
        const zv::UniqueFd fd = connectUnix(path_, SOCK_STREAM);
        EXPECT_EQ(static_cast<ssize_t>(text.size()), send(fd.get(), text.data(), text.size(), MSG_NOSIGNAL));
        std::string got;
        char buffer[4096];
        for (ssize_t n; lines > 0 && (n = recv(fd.get(), buffer, sizeof buffer, 0)) > 0;) {
            got.append(buffer, static_cast<std::size_t>(n));
            lines -= static_cast<int>(std::count(buffer, buffer + n, '\n'));
        }
        return got;
    }

    const std::string path_ = testing::TempDir() + "test.admin";
    std::thread thread_;
    std::atomic<bool> ready_{false};
    std::atomic<bool> ending_{false};
};

TEST_F(AdminServerTest, AnswersRequestsInTheirOrder) {
    EXPECT_EQ("{\"ok\":true,\"result\":2}\n{\"ok\":true,\"result\":4}\n",
              raw("{\"op\":\"double\",\"n\":1}\n{\"op\":\"double\",\"n\":2}\n", 2));
    AdminClient client(path_);
    EXPECT_EQ(42, client.call("double", {{"n", 21}}));
    EXPECT_EQ(8, client.call("double", {{"n", 4}}));
}

TEST_F(AdminServerTest, ErrorsAreAnsweredInWords) {
    EXPECT_EQ("{\"error\":\"not today\",\"ok\":false}\n", raw("{\"op\":\"fail\"}\n", 1));
    EXPECT_EQ("{\"error\":\"unknown op none\",\"kind\":\"invalid\",\"ok\":false}\n", raw("{\"op\":\"none\"}\n", 1));
    EXPECT_THAT(raw("{\"op\":\n", 1), HasSubstr("\"ok\":false"));
    EXPECT_THAT(raw("[1]\n", 1), HasSubstr("a request is an object"));
    EXPECT_THAT(raw("{\"op\":\"double\"}\n", 1), HasSubstr("\"ok\":false"));
    EXPECT_THAT(raw("{\"op\":\"\xff\"}\n", 1), HasSubstr("\"ok\":false"));
    EXPECT_THAT(raw(std::string(50000, '[') + "\n", 1), HasSubstr("\"ok\":false"));
    AdminClient client(path_);
    EXPECT_THROW(client.call("fail"), std::runtime_error);
}

TEST_F(AdminServerTest, AWrongRequestIsToldFromARefusedOne) {
    EXPECT_EQ("{\"error\":\"n: must be a number\",\"kind\":\"invalid\",\"ok\":false}\n",
              raw("{\"op\":\"wrong\"}\n", 1));
    EXPECT_EQ("{\"error\":\"no hex\",\"kind\":\"invalid\",\"ok\":false}\n", raw("{\"op\":\"hex\"}\n", 1));
    EXPECT_EQ("{\"error\":\"key 'n' not found\",\"kind\":\"invalid\",\"ok\":false}\n", raw("{\"op\":\"double\"}\n", 1));
    EXPECT_THAT(raw("[1]\n", 1), HasSubstr("\"kind\":\"invalid\""));
    EXPECT_THAT(raw("{\"op\":\n", 1), HasSubstr("\"kind\":\"invalid\""));
}

TEST_F(AdminServerTest, RequestsAreNestedNoDeeperThanTheLimit) {
    const auto answerAt = [this](std::size_t depth) { // the request's own braces are one level
        return raw(
            "{\"op\":\"double\",\"n\":1,\"x\":" + std::string(depth - 1, '[') + std::string(depth - 1, ']') + "}\n", 1);
    };
    EXPECT_EQ("{\"ok\":true,\"result\":2}\n", answerAt(16));
    EXPECT_EQ("{\"error\":\"nested deeper than 16\",\"kind\":\"invalid\",\"ok\":false}\n", answerAt(17));
    EXPECT_EQ("{\"error\":\"nested deeper than 16\",\"kind\":\"invalid\",\"ok\":false}\n", answerAt(32000));
    EXPECT_EQ("{\"ok\":true,\"result\":6}\n",
              raw("{\"op\":\"double\",\"n\":3,\"x\":\"" + std::string(40, '[') + "\"}\n", 1)); // a text is no nesting
}

TEST_F(AdminServerTest, AnOperationIsNamedByAText) {
    const std::string answer =
        "{\"error\":\"a request is an object with the text \\\"op\\\"\",\"kind\":\"invalid\",\"ok\":false}\n";
    EXPECT_EQ(answer + answer + answer, raw("{\"op\":5}\n{\"o\":\"double\"}\n[\"op\"]\n", 3));
}

TEST_F(AdminServerTest, ALineTooLongEndsTheConnection) {
    EXPECT_EQ("{\"error\":\"request line too long\",\"kind\":\"invalid\",\"ok\":false}\n",
              raw(std::string(AdminServer::lineLimit + 20000, 'x'), 2));
    EXPECT_EQ(2, AdminClient(path_).call("double", {{"n", 1}}));
}

TEST_F(AdminServerTest, SubscribersGetWhatIsPublished) {
    AdminClient subscriber(path_);
    AdminClient other(path_);
    EXPECT_EQ(false, other.call("publish", {{"what", 0}}));
    EXPECT_EQ("since now", subscriber.call("news"));
    EXPECT_EQ(true, other.call("publish", {{"what", 1}}));
    EXPECT_EQ(true, other.call("publish", {{"what", {{"a", 2}}}}));
    EXPECT_EQ(1, subscriber.nextEvent(milliseconds(2000)));
    EXPECT_EQ((Json{{"a", 2}}), subscriber.nextEvent(milliseconds(2000)));
    EXPECT_EQ(nullptr, subscriber.nextEvent(milliseconds(1)));
    EXPECT_EQ(true, subscriber.call("publish", {{"what", 3}})); // its own news, between request and answer
}

TEST_F(AdminServerTest, ASubscriberThatDoesNotReadIsDroppedAndHoldsNobody) {
    AdminClient deaf(path_);
    deaf.call("news");
    AdminClient other(path_);
    const std::string news(60000, 'n');
    bool heard = true;
    for (int i = 0; i < 200 && heard; ++i) {
        heard = other.call("publish", {{"what", news}}).get<bool>();
    }
    EXPECT_FALSE(heard);
    EXPECT_EQ(1, other.call("clients"));
}

TEST_F(AdminServerTest, AClientThatAsksAndDoesNotReadIsDropped) {
    const zv::UniqueFd greedy = connectUnix(path_, SOCK_STREAM);
    const std::string request = "{\"op\":\"big\"}\n";
    std::string many;
    for (int i = 0; i < 1000; ++i) {
        many += request;
    }
    send(greedy.get(), many.data(), many.size(), MSG_NOSIGNAL);
    AdminClient other(path_);
    const std::chrono::seconds patience(30); // megabytes of answers come first, in an emulator perhaps
    for (int i = 0; i < 1000 && other.call("clients", Json::object(), patience) != 1; ++i) {
        std::this_thread::sleep_for(milliseconds(2));
    }
    EXPECT_EQ(1, other.call("clients"));
}

TEST_F(AdminServerTest, MoreClientsThanTheLimitPushTheOldestOut) {
    std::vector<zv::UniqueFd> idle;
    for (std::size_t i = 0; i < AdminServer::clientLimit + 10; ++i) {
        idle.push_back(connectUnix(path_, SOCK_STREAM));
    }
    AdminClient fresh(path_);
    EXPECT_EQ(AdminServer::clientLimit, fresh.call("clients"));
    char byte;
    EXPECT_EQ(0, recv(idle.front().get(), &byte, 1, 0));
}

TEST_F(AdminServerTest, ClientsThatVanishLeaveNothing) {
    for (int i = 0; i < 200; ++i) {
        const zv::UniqueFd fd = connectUnix(path_, SOCK_STREAM);
        send(fd.get(), "{\"op\":\"fail\"}\n{\"op\"", 19, MSG_NOSIGNAL);
    }
    AdminClient client(path_);
    for (int i = 0; i < 1000 && client.call("clients") != 1; ++i) {
        std::this_thread::sleep_for(milliseconds(2));
    }
    EXPECT_EQ(1, client.call("clients"));
}

TEST_F(AdminServerTest, ASecondServerIsRefused) {
    EventLoop loop;
    EXPECT_THROW(AdminServer(loop, path_), std::runtime_error);
}

TEST(AdminServer, TakesOverASocketFileThatNobodyServesAndRemovesItsOwn) {
    const std::string path = testing::TempDir() + "left.admin";
    listenUnix(path, SOCK_STREAM).reset();
    struct stat status {};
    ASSERT_EQ(0, stat(path.c_str(), &status));
    EventLoop loop;
    { const AdminServer server(loop, path); }
    EXPECT_NE(0, stat(path.c_str(), &status));
}

} // namespace
} // namespace zvcamera
