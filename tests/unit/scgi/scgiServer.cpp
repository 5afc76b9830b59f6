#include "scgiServer.h"

#include "child.h"
#include "scgiClient.h"
#include "scgiOptions.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <deque>
#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <poll.h>
#include <sstream>
#include <sys/resource.h>
#include <thread>

namespace {

using namespace std::chrono_literals;

// Error numbers that the next calls fail with; 0: the call is made.
std::deque<int> acceptErrors;
std::deque<int> forkErrors;

bool fails(std::deque<int>& errors) {
    if (errors.empty()) {
        return false;
    }
    errno = errors.front();
    errors.pop_front();
    return errno != 0;
}

} // namespace

extern "C" int __real_accept4(int socket, sockaddr* address, socklen_t* length, int flags);
extern "C" int __wrap_accept4(int socket, sockaddr* address, socklen_t* length, int flags);
extern "C" pid_t __real_fork();
extern "C" pid_t __wrap_fork();

int __wrap_accept4(int socket, sockaddr* address, socklen_t* length, int flags) {
    return fails(acceptErrors) ? -1 : __real_accept4(socket, address, length, flags);
}

pid_t __wrap_fork() {
    return fails(forkErrors) ? -1 : __real_fork();
}

namespace {

constexpr const char* path = "/tmp/gateway.sock";

bool isIgnored(int signal) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    return action.sa_handler == SIG_IGN;
}

std::string describeProcess() {
    sigset_t blocked{};
    sigprocmask(SIG_BLOCK, nullptr, &blocked);
    std::string signals;
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGCHLD, SIGPIPE}) {
        signals += sigismember(&blocked, signal) == 1 ? 'b' : isIgnored(signal) ? 'i' : '-';
    }
    int descriptors = 0;
    for (int descriptor = 0; descriptor < 64; ++descriptor) {
        descriptors += fcntl(descriptor, F_GETFD) >= 0 ? 1 : 0;
    }
    return std::to_string(getpid()) + " " + std::to_string(getppid()) + " " + signals + " " +
           std::to_string(descriptors);
}

// Does what it is told by a byte: tell of itself, end by a signal, or end at once. Waits until then.
int serve(zv::UniqueFd connection) {
    char wish = 0;
    static_cast<void>(recv(connection.get(), &wish, 1, 0));
    if (wish == 'k') {
        raise(SIGKILL);
    }
    static_cast<void>(zv::writeAll(connection.get(), wish == 't' ? describeProcess() : ""));
    return 0;
}

// A server in a process of its own, whose standard error is kept.
class Server {
public:
    explicit Server(
        std::size_t most = 64, void (*before)() = [] {})
        : errors_(memfd_create("errors", 0)) {
        std::fflush(nullptr);
        process_ = fork();
        if (process_ == 0) {
            dup2(errors_, STDERR_FILENO);
            closefrom(STDERR_FILENO + 1);
            signal(SIGINT, SIG_DFL); // a shell's job in the background has it ignored
            before();
            ListeningSocket socket;
            ScgiServer server(socket, most, serve);
            ScgiOptions options;
            options.socket = path;
            const bool open = socket.open(options).empty();
            const int status = server.run();
            _exit(open ? status : 2);
        }
        zvtest::waitForServer(path);
    }
    ~Server() {
        if (process_ > 0) {
            end(SIGTERM);
        }
    }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    pid_t process() const { return process_; }
    int end(int signal) {
        kill(process_, signal);
        return wait();
    }
    int wait() {
        int status = -1;
        waitpid(process_, &status, 0);
        process_ = -1;
        return status;
    }
    std::string errors() const { return zvtest::contents(errors_); }

private:
    int errors_;
    pid_t process_;
};

// What a process tells of itself.
struct Told {
    explicit Told(const std::string& text) { std::istringstream(text) >> process >> parent >> signals >> descriptors; }
    int process = 0;
    int parent = 0;
    std::string signals; // SIGTERM, SIGINT, SIGHUP, SIGCHLD, SIGPIPE: blocked, ignored, or as ever
    int descriptors = 0;
};

bool hasAnswer(const zv::UniqueFd& connection, std::chrono::milliseconds wait) {
    pollfd waiting{connection.get(), POLLIN, 0};
    return poll(&waiting, 1, static_cast<int>(wait.count())) == 1;
}

TEST(ScgiServer, HasAProcessForEachConnection) {
    const Server server;
    const Told first(zvtest::askScgi(path, "t"));
    const Told second(zvtest::askScgi(path, "t"));
    EXPECT_NE(first.process, second.process);
    EXPECT_EQ(server.process(), first.parent);
    EXPECT_EQ(server.process(), second.parent);
}

TEST(ScgiServer, LeavesItsProcessesTheirSignalsAndNoDescriptor) {
    const Server server;
    const Told told(zvtest::askScgi(path, "t"));
    EXPECT_EQ("-----", told.signals);
    EXPECT_EQ(4, told.descriptors); // the standard ones and the connection
    EXPECT_EQ("", server.errors());
}

TEST(ScgiServer, LeavesBlockedWhatWasBlocked) {
    const Server server(64, [] {
        sigset_t set{};
        sigemptyset(&set);
        sigaddset(&set, SIGTERM);
        sigprocmask(SIG_BLOCK, &set, nullptr);
    });
    EXPECT_EQ("b----", Told(zvtest::askScgi(path, "t")).signals);
}

TEST(ScgiServer, StartsProcessesAsWebServersDo) {
    const Server server(64, [] {
        signal(SIGCHLD, SIG_IGN);
        signal(SIGPIPE, SIG_IGN);
    });
    EXPECT_EQ("-----", Told(zvtest::askScgi(path, "t")).signals);
}

TEST(ScgiServer, LeavesIgnoredWhatWasIgnored) {
    Server server(64, [] {
        signal(SIGINT, SIG_IGN);
        signal(SIGHUP, SIG_IGN);
    });
    kill(server.process(), SIGINT);
    kill(server.process(), SIGHUP);
    EXPECT_EQ("-ii--", Told(zvtest::askScgi(path, "t")).signals);
    EXPECT_EQ(0, server.end(SIGTERM));
}

TEST(ScgiServer, HasAsManyProcessesAsItMay) {
    const Server server(2);
    zv::UniqueFd first = zvtest::connectTo(path);
    const zv::UniqueFd second = zvtest::connectTo(path);
    zvtest::waitForChildren(server.process(), 2);
    const zv::UniqueFd third = zvtest::connectTo(path);
    ASSERT_TRUE(zv::writeAll(third.get(), "t"));
    EXPECT_FALSE(hasAnswer(third, 100ms));
    EXPECT_EQ(2U, zvtest::childrenOf(server.process()));
    first.reset();
    EXPECT_EQ(server.process(), Told(zvtest::rest(third)).parent);
}

TEST(ScgiServer, EndsWithItsLastProcess) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        Server server;
        zvtest::waitForChildren(server.process(), 0);
        const zv::UniqueFd last = zvtest::connectTo(path);
        zvtest::waitForChildren(server.process(), 1);
        kill(server.process(), signal);
        while (zvtest::connectTo(path).ok()) {
            std::this_thread::sleep_for(1ms);
        }
        EXPECT_FALSE(std::filesystem::exists(path));
        kill(server.process(), signal); // a second one changes nothing
        ASSERT_TRUE(zv::writeAll(last.get(), "t"));
        EXPECT_EQ(server.process(), Told(zvtest::rest(last)).parent);
        EXPECT_EQ(0, server.wait());
    }
}

TEST(ScgiServer, LeavesNoPathWhenItIsEndedBeforeItServes) {
    const auto ended = zvtest::inChild([] {
        ListeningSocket socket;
        ScgiServer server(socket, 1, serve);
        raise(SIGTERM);
        ScgiOptions options;
        options.socket = path;
        EXPECT_EQ("", socket.open(options));
        EXPECT_EQ(EXIT_SUCCESS, server.run());
        EXPECT_FALSE(std::filesystem::exists(path));
    });
    EXPECT_EQ(0, ended.status) << ended.out;
}

TEST(ScgiServer, EndsAtOnceWithoutADescriptorForSignals) {
    const auto ended = zvtest::inChild([] {
        rlimit before{};
        getrlimit(RLIMIT_NOFILE, &before);
        const rlimit none{3, before.rlim_max}; // those there are
        setrlimit(RLIMIT_NOFILE, &none);
        ListeningSocket socket;
        const int result = ScgiServer(socket, 1, serve).run();
        setrlimit(RLIMIT_NOFILE, &before); // what counts the lines that ran writes a file
        _exit(result);
    });
    EXPECT_EQ(EXIT_FAILURE, ended.status);
    EXPECT_EQ("zvControl-scgi: No descriptor for signals\n", ended.err);
}

TEST(ScgiServer, OutlivesTheReaderOfItsReports) {
    const auto ended = zvtest::inChild([] {
        ListeningSocket socket;
        const ScgiServer server(socket, 1, serve);
        raise(SIGPIPE);
    });
    EXPECT_EQ(0, ended.status);
}

TEST(ScgiServer, ReportsAProcessThatASignalEnds) {
    Server server;
    const zv::UniqueFd other = zvtest::connectTo(path);
    EXPECT_EQ("", zvtest::askScgi(path, "k"));
    ASSERT_TRUE(zv::writeAll(other.get(), "t"));
    EXPECT_EQ(server.process(), Told(zvtest::rest(other)).parent);
    EXPECT_EQ(0, server.end(SIGTERM));
    EXPECT_THAT(server.errors(), testing::MatchesRegex("zvControl-scgi: The process [0-9]+ of a request was ended by "
                                                       "signal 9 \\(Killed\\)\n"));
}

TEST(ScgiServer, KnowsItsOwnProcesses) {
    Server server(64, [] { // as a shell leaves one that becomes the program
        if (fork() == 0) {
            raise(SIGKILL);
        }
    });
    EXPECT_EQ(server.process(), Told(zvtest::askScgi(path, "t")).parent);
    EXPECT_EQ(0, server.end(SIGTERM));
    EXPECT_EQ("", server.errors());
}

TEST(ScgiServer, HearsOfItsProcessesWhateverItsStarterIgnores) {
    Server server(1, [] { signal(SIGCHLD, SIG_IGN); });
    for (int number = 0; number < 3; ++number) {
        EXPECT_EQ(server.process(), Told(zvtest::askScgi(path, "t")).parent);
    }
    EXPECT_EQ(0, server.end(SIGTERM));
}

TEST(ScgiServer, WaitsForDescriptors) {
    Server server(64, [] { acceptErrors = {0, EMFILE, EMFILE, 0, ENFILE}; });
    EXPECT_EQ(server.process(), Told(zvtest::askScgi(path, "t")).parent);
    EXPECT_EQ(server.process(), Told(zvtest::askScgi(path, "t")).parent);
    EXPECT_EQ(0, server.end(SIGTERM));
    EXPECT_EQ("zvControl-scgi: No connection for a request: Too many open files\n"
              "zvControl-scgi: No connection for a request: Too many open files in system\n",
              server.errors());
}

TEST(ScgiServer, PassesOverConnectionsThatAreGone) {
    Server server(64, [] { acceptErrors = {0, EMFILE, EAGAIN, ECONNABORTED}; });
    EXPECT_EQ(server.process(), Told(zvtest::askScgi(path, "t")).parent);
    EXPECT_EQ(0, server.end(SIGTERM));
    EXPECT_EQ("zvControl-scgi: No connection for a request: Too many open files\n", server.errors());
}

TEST(ScgiServer, DropsAConnectionThatGetsNoProcess) {
    Server server(64, [] { forkErrors = {0, EAGAIN, ENOMEM}; });
    EXPECT_EQ("", zvtest::askScgi(path, "t"));
    EXPECT_EQ("", zvtest::askScgi(path, "t"));
    EXPECT_EQ(server.process(), Told(zvtest::askScgi(path, "t")).parent);
    EXPECT_EQ(0, server.end(SIGTERM));
    EXPECT_EQ("zvControl-scgi: No process for a request: Resource temporarily unavailable\n", server.errors());
}

TEST(ScgiServer, EndsWhileItWaitsForDescriptors) {
    Server server(64, [] {
        acceptErrors = std::deque<int>{0};
        acceptErrors.resize(1000, EMFILE);
    });
    const zv::UniqueFd waiting = zvtest::connectTo(path);
    EXPECT_EQ(0, server.end(SIGTERM));
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(ScgiServer, PrintsOnceWhatALibraryHasPrinted) {
    const auto ended = zvtest::inChild([] {
        Server server(64, [] { std::printf("said while it was loaded"); });
        zvtest::askScgi(path, "t");
        EXPECT_EQ(0, server.end(SIGTERM));
    });
    EXPECT_EQ(0, ended.status);
    EXPECT_EQ("said while it was loaded", ended.out);
}

} // namespace
