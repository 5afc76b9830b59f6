#include "adminServer.h"

#include "adminClient.h"
#include "unixSocket.h"

#include <atomic>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <thread>

namespace zvcam {
namespace {

using std::chrono::milliseconds;
using ::testing::HasSubstr;

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
        server.on("fail", [](const Json&) -> Json { throw JsonError("not today"); });
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
        const UniqueFd fd = connectUnix(path_, SOCK_STREAM);
        EXPECT_EQ(send(fd.get(), text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
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
    EXPECT_EQ(raw("{\"op\":\"double\",\"n\":1}\n{\"op\":\"double\",\"n\":2}\n", 2),
              "{\"ok\":true,\"result\":2}\n{\"ok\":true,\"result\":4}\n");
    AdminClient client(path_);
    EXPECT_EQ(client.call("double", {{"n", 21}}), 42);
    EXPECT_EQ(client.call("double", {{"n", 4}}), 8);
}

TEST_F(AdminServerTest, ErrorsAreAnsweredInWords) {
    EXPECT_EQ(raw("{\"op\":\"fail\"}\n", 1), "{\"error\":\"not today\",\"ok\":false}\n");
    EXPECT_EQ(raw("{\"op\":\"none\"}\n", 1), "{\"error\":\"unknown op none\",\"ok\":false}\n");
    EXPECT_THAT(raw("{\"op\":\n", 1), HasSubstr("\"ok\":false"));
    EXPECT_THAT(raw("[1]\n", 1), HasSubstr("a request is an object"));
    EXPECT_THAT(raw("{\"op\":\"double\"}\n", 1), HasSubstr("\"ok\":false"));
    EXPECT_THAT(raw("{\"op\":\"\xff\"}\n", 1), HasSubstr("\"ok\":false"));
    EXPECT_THAT(raw(std::string(50000, '[') + "\n", 1), HasSubstr("\"ok\":false"));
    AdminClient client(path_);
    EXPECT_THROW(client.call("fail"), std::runtime_error);
}

TEST_F(AdminServerTest, RequestsAreNestedNoDeeperThanTheLimit) {
    const auto answerAt = [this](std::size_t depth) { // the request's own braces are one level
        return raw(
            "{\"op\":\"double\",\"n\":1,\"x\":" + std::string(depth - 1, '[') + std::string(depth - 1, ']') + "}\n", 1);
    };
    EXPECT_EQ(answerAt(16), "{\"ok\":true,\"result\":2}\n");
    EXPECT_EQ(answerAt(17), "{\"error\":\"nested deeper than 16\",\"ok\":false}\n");
    EXPECT_EQ(answerAt(32000), "{\"error\":\"nested deeper than 16\",\"ok\":false}\n");
    EXPECT_EQ(raw("{\"op\":\"double\",\"n\":3,\"x\":\"" + std::string(40, '[') + "\"}\n", 1),
              "{\"ok\":true,\"result\":6}\n"); // a text is no nesting
}

TEST_F(AdminServerTest, ALineTooLongEndsTheConnection) {
    EXPECT_EQ(raw(std::string(AdminServer::lineLimit + 20000, 'x'), 2),
              "{\"error\":\"request line too long\",\"ok\":false}\n");
    EXPECT_EQ(AdminClient(path_).call("double", {{"n", 1}}), 2);
}

TEST_F(AdminServerTest, SubscribersGetWhatIsPublished) {
    AdminClient subscriber(path_);
    AdminClient other(path_);
    EXPECT_EQ(other.call("publish", {{"what", 0}}), false);
    EXPECT_EQ(subscriber.call("news"), "since now");
    EXPECT_EQ(other.call("publish", {{"what", 1}}), true);
    EXPECT_EQ(other.call("publish", {{"what", {{"a", 2}}}}), true);
    EXPECT_EQ(subscriber.nextEvent(milliseconds(2000)), 1);
    EXPECT_EQ(subscriber.nextEvent(milliseconds(2000)), (Json{{"a", 2}}));
    EXPECT_EQ(subscriber.nextEvent(milliseconds(1)), nullptr);
    EXPECT_EQ(subscriber.call("publish", {{"what", 3}}), true); // its own news, between request and answer
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
    EXPECT_EQ(other.call("clients"), 1);
}

TEST_F(AdminServerTest, AClientThatAsksAndDoesNotReadIsDropped) {
    const UniqueFd greedy = connectUnix(path_, SOCK_STREAM);
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
    EXPECT_EQ(other.call("clients"), 1);
}

TEST_F(AdminServerTest, MoreClientsThanTheLimitPushTheOldestOut) {
    std::vector<UniqueFd> idle;
    for (std::size_t i = 0; i < AdminServer::clientLimit + 10; ++i) {
        idle.push_back(connectUnix(path_, SOCK_STREAM));
    }
    AdminClient fresh(path_);
    EXPECT_EQ(fresh.call("clients"), AdminServer::clientLimit);
    char byte;
    EXPECT_EQ(recv(idle.front().get(), &byte, 1, 0), 0);
}

TEST_F(AdminServerTest, ClientsThatVanishLeaveNothing) {
    for (int i = 0; i < 200; ++i) {
        const UniqueFd fd = connectUnix(path_, SOCK_STREAM);
        send(fd.get(), "{\"op\":\"fail\"}\n{\"op\"", 19, MSG_NOSIGNAL);
    }
    AdminClient client(path_);
    for (int i = 0; i < 1000 && client.call("clients") != 1; ++i) {
        std::this_thread::sleep_for(milliseconds(2));
    }
    EXPECT_EQ(client.call("clients"), 1);
}

TEST_F(AdminServerTest, ASecondServerIsRefused) {
    EventLoop loop;
    EXPECT_THROW(AdminServer(loop, path_), std::runtime_error);
}

TEST(AdminServer, TakesOverASocketFileThatNobodyServesAndRemovesItsOwn) {
    const std::string path = testing::TempDir() + "left.admin";
    listenUnix(path, SOCK_STREAM).reset();
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EventLoop loop;
    { const AdminServer server(loop, path); }
    EXPECT_NE(stat(path.c_str(), &status), 0);
}

TEST(AdminClient, AnAbsentServerIsAnError) {
    EXPECT_THROW(AdminClient("/nonexistent/socket"), std::system_error);
    EXPECT_THROW(AdminClient("/" + std::string(200, 'n')), std::system_error);
}

} // namespace
} // namespace zvcam
