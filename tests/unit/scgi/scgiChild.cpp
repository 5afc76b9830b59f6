#include "scgiChild.h"

#include "child.h"
#include "scgiClient.h"
#include "syslogCapture.h"
#include "zvLog.h"

#include <cstdlib>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/prctl.h>

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

// The two ends of a connection: a web server's, and that of the process that serves.
struct Connection {
    Connection() {
        int ends[2];
        EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends));
        server.reset(ends[0]);
        child.reset(ends[1]);
    }

    zv::UniqueFd server;
    zv::UniqueFd child;
};

// Says on standard output what it has been given, and what it is called.
int tell() {
    std::string text = program_invocation_short_name;
    char name[16];
    prctl(PR_GET_NAME, name);
    text += std::string(" ") + name;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        text += std::string(" ") + *variable;
    }
    text += " [" + zvtest::rest(zv::UniqueFd(dup(STDIN_FILENO))) + "]";
    static_cast<void>(zv::writeAll(STDOUT_FILENO, text));
    return 42;
}

TEST(ScgiChild, IsWhatTheWebServerStarts) {
    Connection connection;
    setenv("LEFT", "over", 1);
    const auto ended = zvtest::inChild([&connection] {
        ASSERT_TRUE(zv::writeAll(connection.server.get(), zvtest::scgiRequest({{"PATH_INFO", "/a"}}, "the body")));
        _exit(serveScgiConnection(std::move(connection.child), tell));
    });
    connection.child.reset();
    EXPECT_EQ(42, ended.status);
    EXPECT_EQ("zvControl-cgi-bin zvControl-cgi-b CONTENT_LENGTH=8 SCGI=1 PATH_INFO=/a [the body]",
              zvtest::rest(connection.server));
    EXPECT_EQ("", ended.out);
    EXPECT_EQ("", ended.err);
}

// As many descriptors as a web server hands to a CGI program.
int countDescriptors() {
    int open = 0;
    for (int descriptor = 0; descriptor < 1024; ++descriptor) {
        open += fcntl(descriptor, F_GETFD) >= 0 ? 1 : 0;
    }
    return open;
}

TEST(ScgiChild, HasThreeDescriptors) {
    const auto ended = zvtest::inChild([] {
        closefrom(3);
        Connection connection;
        ASSERT_TRUE(zv::writeAll(connection.server.get(), zvtest::scgiRequest({}, "body")));
        connection.server.reset();
        _exit(serveScgiConnection(std::move(connection.child), countDescriptors));
    });
    EXPECT_EQ(3, ended.status);
}

TEST(ScgiChild, LogsWhatItRefuses) {
    zvtest::SyslogCapture log;
    Connection connection;
    ASSERT_TRUE(zv::writeAll(connection.server.get(), "GET / HTTP/1.0\r\n\r\n"));
    EXPECT_EQ(EXIT_FAILURE, serveScgiConnection(std::move(connection.child), tell));
    EXPECT_EQ("", zvtest::rest(connection.server));
    EXPECT_THAT(log.messages(), ElementsAre("Refused a request: it does not begin with a header\n"));
}

TEST(ScgiChild, LogsNothingBelowTheLevel) {
    zvtest::SyslogCapture log;
    zvUtilSetLogLevel(UTIL_LOG_FATAL);
    Connection connection;
    connection.server.reset();
    EXPECT_EQ(EXIT_FAILURE, serveScgiConnection(std::move(connection.child), tell));
    EXPECT_THAT(log.messages(), testing::IsEmpty());
}

TEST(ScgiChild, WaitsForALimitedTime) {
    zvtest::SyslogCapture log;
    Connection connection;
    EXPECT_EQ(EXIT_FAILURE, serveScgiConnection(std::move(connection.child), tell, 50ms));
    EXPECT_THAT(log.messages(), ElementsAre("Refused a request: it took too long to arrive\n"));
}

} // namespace
