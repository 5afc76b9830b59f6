// Lines for a log whose reader stands still.
#include "child.h"
#include "syslogCapture.h"
#include "zvLog.h"
#include "zvTlv.h"

#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <vector>

using testing::ElementsAre;
using testing::HasSubstr;
using zvtest::Child;
using zvtest::Ended;
using zvtest::SyslogCapture;

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned patience = 30; // seconds after which a test counts as waiting for ever

time_t clockOffset = 0; // how many seconds the library's clock is ahead

sockaddr_un logAddress() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "/dev/log");
    return address;
}

// A system log whose reader does nothing until it is asked to.
class StalledLog {
public:
    explicit StalledLog(int type = SOCK_DGRAM) : socket_(socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
        const sockaddr_un address = logAddress();
        unlink(address.sun_path);
        EXPECT_EQ(0, bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address));
        if (type == SOCK_STREAM) {
            EXPECT_EQ(0, listen(socket_, 0));
        }
    }
    ~StalledLog() {
        close(socket_);
        unlink(logAddress().sun_path);
    }
    StalledLog(const StalledLog&) = delete;
    StalledLog& operator=(const StalledLog&) = delete;

    // Leaves no room for a line.
    static void fill() {
        const int out = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        const sockaddr_un address = logAddress();
        while (sendto(out, "filling", 7, 0, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 7) {
        }
        close(out);
    }
    // Reads what has come; the ends of the lines behind the header of syslog.
    std::vector<std::string> read() {
        std::vector<std::string> lines;
        char line[1024];
        for (ssize_t length; (length = recv(socket_, line, sizeof line, 0)) >= 0;) {
            std::string text(line, static_cast<std::size_t>(length));
            if (const std::size_t start = text.find("UTIL_LOG"); start != std::string::npos) {
                lines.push_back(text.substr(start));
            }
        }
        return lines;
    }

private:
    int socket_;
};

void logLine(const char* text = "x") {
    zvUtilKlogMsgLevel(UTIL_LOG_ERROR, 1, "f", "%s", text);
}

Clock::duration timeOf(int lines) {
    const auto start = Clock::now();
    for (int i = 0; i < lines; ++i) {
        logLine();
    }
    return Clock::now() - start;
}

// Runs the piece, which may wait for ever, in a process that is ended then.
template<typename Piece>
Ended withinPatience(Piece piece) {
    return zvtest::inChild([piece] {
        alarm(patience);
        piece();
    });
}

// Fills the log and logs a line, which waits until somebody reads. All that the log has got then.
std::vector<std::string> linesAroundAWait(StalledLog& log) {
    StalledLog::fill();
    std::vector<std::string> lines;
    std::thread reader([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(600)); // longer than the limit
        lines = log.read();
    });
    logLine("waits");
    reader.join();
    for (std::string& line : log.read()) {
        lines.push_back(line);
    }
    return lines;
}

} // namespace

// Where the time of a 32-bit processor is given 64 bits, the call has another name.
#ifdef __USE_TIME_BITS64
#define REAL_CLOCK_GETTIME __real___clock_gettime64
#define WRAP_CLOCK_GETTIME __wrap___clock_gettime64
#else
#define REAL_CLOCK_GETTIME __real_clock_gettime
#define WRAP_CLOCK_GETTIME __wrap_clock_gettime
#endif
extern "C" int REAL_CLOCK_GETTIME(clockid_t clock, timespec* time);

extern "C" int WRAP_CLOCK_GETTIME(clockid_t clock, timespec* time) {
    const int result = REAL_CLOCK_GETTIME(clock, time);
    time->tv_sec += clockOffset;
    return result;
}

TEST(ZvLogLimit, LineIsLostAfterAWaitThatLaterLinesDoNotRepeat) {
    const Ended ended = withinPatience([] {
        StalledLog log;
        StalledLog::fill();
        EXPECT_LE(std::chrono::milliseconds(250), timeOf(1));
        EXPECT_GT(std::chrono::seconds(20), timeOf(100)); // 250 ms each would be more
        EXPECT_THAT(log.read(), ElementsAre());
    });
    EXPECT_EQ(0, ended.status) << ended.out << ended.err;
}

TEST(ZvLogLimit, LineAMinuteAfterALossWaitsAsLongAsTheFirst) {
    const Ended ended = withinPatience([] {
        StalledLog log;
        StalledLog::fill();
        EXPECT_LE(std::chrono::milliseconds(250), timeOf(1));
        clockOffset = 60;
        EXPECT_LE(std::chrono::milliseconds(250), timeOf(1));
        EXPECT_THAT(log.read(), ElementsAre());
    });
    EXPECT_EQ(0, ended.status) << ended.out << ended.err;
}

TEST(ZvLogLimit, LinesFlowAgainOnceTheyAreRead) {
    const Ended ended = withinPatience([] {
        StalledLog log;
        StalledLog::fill();
        logLine("lost");
        EXPECT_THAT(log.read(), ElementsAre());
        logLine("kept");
        logLine("kept too");
        EXPECT_THAT(log.read(), ElementsAre("UTIL_LOG_ERROR:kept @f:1", "UTIL_LOG_ERROR:kept too @f:1"));
    });
    EXPECT_EQ(0, ended.status) << ended.out << ended.err;
}

TEST(ZvLogLimit, LineWaitsForAReaderThatIsSlow) {
    const auto arrives = [] {
        const Ended ended = withinPatience([] {
            StalledLog log;
            StalledLog::fill();
            int start[2];
            EXPECT_EQ(0, pipe(start));
            std::vector<std::string> lines;
            std::thread reader([&] {
                char byte = 0;
                EXPECT_EQ(1, read(start[0], &byte, 1));
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
                lines = log.read();
            });
            EXPECT_EQ(1, write(start[1], "x", 1));
            logLine("waits");
            reader.join();
            for (std::string& line : log.read()) {
                lines.push_back(line);
            }
            _exit(lines.size() == 1 && lines[0] == "UTIL_LOG_ERROR:waits @f:1" ? 0 : 1);
        });
        return ended.status == 0;
    };
    // On a machine that is very busy, the reader may come too late.
    EXPECT_TRUE(arrives() || arrives() || arrives());
}

TEST(ZvLogLimit, HoldsForALogThatIsAStream) {
    const Ended ended = withinPatience([] {
        const StalledLog log(SOCK_STREAM);
        const std::string longest(400, 'x');
        for (int i = 0; i < 2000; ++i) { // more than a socket takes
            logLine(longest.c_str());
        }
    });
    EXPECT_EQ(0, ended.status) << ended.out << ended.err;
}

TEST(ZvLogLimit, HoldsForEveryThreadWhateverItBlocks) {
    const Ended ended = withinPatience([] {
        StalledLog log;
        StalledLog::fill();
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([] {
                sigset_t all;
                sigset_t now;
                sigfillset(&all);
                pthread_sigmask(SIG_SETMASK, &all, nullptr);
                timeOf(5);
                pthread_sigmask(SIG_SETMASK, nullptr, &now);
                EXPECT_EQ(1, sigismember(&now, SIGURG));
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_THAT(log.read(), ElementsAre());
    });
    EXPECT_EQ(0, ended.status) << ended.out << ended.err;
}

TEST(ZvLogLimit, HoldsForAChildOfAProcessThatHasLogged) {
    const Ended ended = withinPatience([] {
        StalledLog log;
        logLine("parent");
        StalledLog::fill();
        const pid_t child = fork();
        if (child == 0) {
            alarm(patience);
            timeOf(5);
            _exit(0);
        }
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(0, status);
        EXPECT_THAT(log.read(), ElementsAre("UTIL_LOG_ERROR:parent @f:1"));
    });
    EXPECT_EQ(0, ended.status) << ended.out << ended.err;
}

TEST(ZvLogLimit, HoldsForReports) {
    const Ended ended = withinPatience([] {
        const StalledLog log;
        StalledLog::fill();
        std::uint8_t empty[] = {0, 4, 0, 1};
        sntlv_void(empty, 66);
    });
    EXPECT_EQ(255, ended.status);
    EXPECT_THAT(ended.err, HasSubstr("\033[31mASSERT:libzvCommon/src/zvTlv/sntlv_void:221:tlv != NULL\n\033[0m"));
}

TEST(ZvLogLimit, LogThatComesBackGetsItsLines) {
    const Ended ended = withinPatience([] {
        logLine("nobody");
        {
            StalledLog log;
            logLine("first");
            EXPECT_THAT(log.read(), ElementsAre("UTIL_LOG_ERROR:first @f:1"));
        }
        logLine("nobody");
        StalledLog log;
        logLine("second");
        EXPECT_THAT(log.read(), ElementsAre("UTIL_LOG_ERROR:second @f:1"));
    });
    EXPECT_EQ(0, ended.status) << ended.out << ended.err;
}

TEST(ZvLogLimit, DescriptorThatWasClosedCostsNoLine) {
    Child child([] {
        logLine("before");
        closefrom(STDERR_FILENO + 1);
        logLine("behind");
    });
    SyslogCapture log;
    EXPECT_EQ(0, child.run().status);
    EXPECT_THAT(log.texts(), ElementsAre("UTIL_LOG_ERROR:before @f:1", "UTIL_LOG_ERROR:behind @f:1"));
}

TEST(ZvLogLimit, LeavesSignalsAsTheyAre) {
    Child child([] {
        sigset_t before;
        sigset_t behind;
        sigemptyset(&before);
        sigaddset(&before, SIGURG);
        sigaddset(&before, SIGUSR1);
        sigprocmask(SIG_SETMASK, &before, nullptr);
        const auto handler = [](int) {};
        std::signal(SIGURG, handler);
        logLine("x");
        sigprocmask(SIG_SETMASK, nullptr, &behind);
        for (int signal = 1; signal < SIGRTMIN; ++signal) {
            EXPECT_EQ(sigismember(&before, signal), sigismember(&behind, signal)) << signal;
        }
        EXPECT_EQ(static_cast<void (*)(int)>(handler), std::signal(SIGURG, SIG_DFL));
    });
    SyslogCapture log;
    const Ended ended = child.run();
    EXPECT_EQ(0, ended.status) << ended.out << ended.err;
    EXPECT_THAT(log.texts(), ElementsAre("UTIL_LOG_ERROR:x @f:1"));
}

TEST(ZvLogLimit, LeavesAHandlerAloneThatIsSetLater) {
    const Ended ended = withinPatience([] {
        static volatile std::sig_atomic_t handled = 0;
        StalledLog log;
        logLine("first");
        const auto handler = [](int) { handled = handled + 1; };
        std::signal(SIGURG, handler);
        const auto lines = linesAroundAWait(log);
        EXPECT_THAT(lines, ElementsAre("UTIL_LOG_ERROR:first @f:1", "UTIL_LOG_ERROR:waits @f:1"));
        EXPECT_EQ(0, handled);
        EXPECT_EQ(static_cast<void (*)(int)>(handler), std::signal(SIGURG, SIG_DFL));
    });
    EXPECT_EQ(0, ended.status) << ended.out << ended.err;
}

TEST(ZvLogLimit, HoldsAgainOnceAHandlerOfTheProcessIsGone) {
    for (const auto action : {SIG_DFL, SIG_IGN}) {
        const Ended ended = withinPatience([action] {
            std::signal(SIGURG, [](int) {});
            StalledLog log;
            logLine("first");
            std::signal(SIGURG, action);
            StalledLog::fill();
            timeOf(2);
            EXPECT_THAT(log.read(), ElementsAre("UTIL_LOG_ERROR:first @f:1"));
        });
        EXPECT_EQ(0, ended.status) << ended.out << ended.err;
    }
}

// The system hands such a handler more than the signal's number.
TEST(ZvLogLimit, LeavesAHandlerAloneThatIsToldMore) {
    Child child([] {
        struct sigaction telling {};
        telling.sa_sigaction = [](int, siginfo_t*, void*) {};
        telling.sa_flags = SA_SIGINFO;
        sigaction(SIGURG, &telling, nullptr);
        logLine("x");
        struct sigaction now {};
        sigaction(SIGURG, nullptr, &now);
        EXPECT_EQ(telling.sa_sigaction, now.sa_sigaction);
        EXPECT_EQ(SA_SIGINFO, now.sa_flags & SA_SIGINFO);
    });
    SyslogCapture log;
    const Ended ended = child.run();
    EXPECT_EQ(0, ended.status) << ended.out << ended.err;
    EXPECT_THAT(log.texts(), ElementsAre("UTIL_LOG_ERROR:x @f:1"));
}

TEST(ZvLogLimit, WithoutATimerTheWaitHasNoLimit) {
    const Ended ended = withinPatience([] {
        const rlimit none{};
        EXPECT_EQ(0, setrlimit(RLIMIT_SIGPENDING, &none));
        StalledLog log;
        logLine("first");
        const auto lines = linesAroundAWait(log);
        EXPECT_THAT(lines, ElementsAre("UTIL_LOG_ERROR:first @f:1", "UTIL_LOG_ERROR:waits @f:1"));
    });
    EXPECT_EQ(0, ended.status) << ended.out << ended.err;
}
