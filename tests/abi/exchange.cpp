// A library that knows only names is loaded beside the program: it must bind to the program's own copies.
#include "syslogCapture.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mqueue.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr bool emulated = ZV_EMULATED;

// Type 1, code "AB", payload "ping", answer to "/stranger", destination "/peer".
const std::string request("\0\x2C\0\x01"
                          "\0\0\x02"
                          "AAB"
                          "\0\0\x04"
                          "Bping"
                          "\0\0\x09"
                          "D/stranger"
                          "\0\0\x05"
                          "C/peer"
                          "\0\0\0\xEE",
                          44);
// Type 2, response "pong".
const std::string answer("\0\x10\0\x02"
                         "\0\0\x04"
                         "Epong"
                         "\0\0\0\xEE",
                         16);

mqd_t makePeersMailbox() {
    mq_attr attributes{};
    attributes.mq_maxmsg = 4;
    attributes.mq_msgsize = 1500;
    const mqd_t inbox = mq_open("/peer", O_RDONLY | O_CREAT, 0664, &attributes);
    EXPECT_NE(-1, inbox);
    return inbox;
}

// A process that takes a request from "/peer" and answers it on "/stranger", without the support library. Its status is
// 0 when the request was the expected one. It answers no later request.
pid_t startPeer() {
    const mqd_t inbox = makePeersMailbox();
    const pid_t peer = fork();
    if (peer == 0) {
        alarm(30);
        char buffer[1500];
        const ssize_t length = mq_receive(inbox, buffer, sizeof buffer, nullptr);
        const bool right = length > 0 && request == std::string(buffer, static_cast<std::size_t>(length));
        const mqd_t out = mq_open("/stranger", O_WRONLY);
        const bool sent = mq_send(out, answer.data(), answer.size(), 0) == 0;
        _exit(right && sent ? 0 : 1);
    }
    return peer;
}

// The program with the stranger beside it. It waits for letGo(). Make it before the test has threads: the child would
// inherit their locks.
class Program {
public:
    explicit Program(const char* role = "ask") {
        EXPECT_EQ(0, pipe(gate_));
        process_ = fork();
        if (process_ == 0) {
            char go = 0;
            if (read(gate_[0], &go, 1) != 1) {
                _exit(126);
            }
            const int nothing = open("/dev/null", O_RDWR);
            dup2(nothing, STDOUT_FILENO);
            dup2(nothing, STDERR_FILENO); // traces are written there as well
            // The loader splits its list at blanks and colons, which the path of a build may contain.
            if (symlink(ZV_STRANGER, "/tmp/stranger.so") != 0 && errno != EEXIST) {
                _exit(125);
            }
            // The emulator sets this list for the program, and does not load the library itself.
            setenv("QEMU_SET_ENV", "LD_PRELOAD=/tmp/stranger.so", 1);
            if (!emulated) {
                setenv("LD_PRELOAD", "/tmp/stranger.so", 1);
            }
            setenv("ZV_STRANGER", role, 1);
            setenv("PATH_INFO", "/command/ble/pairing_available", 1);
            // The sanitizer's library insists on being loaded first; here the order does not matter.
            setenv("ASAN_OPTIONS", "verify_asan_link_order=0:detect_leaks=0", 1);
            execl(ZV_PROGRAM, ZV_PROGRAM, nullptr);
            _exit(127);
        }
    }
    pid_t letGo() {
        EXPECT_EQ(1, write(gate_[1], "g", 1));
        return process_;
    }

private:
    int gate_[2] = {-1, -1};
    pid_t process_ = -1;
};

int statusOf(pid_t process) {
    int status = 0;
    waitpid(process, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

std::vector<std::string> reportOf(const char* path) {
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

} // namespace

TEST(ExportedExchange, StrangerBindsToTheProgramsCopiesAndCompletesAnExchange) {
    const pid_t peer = startPeer();
    Program program;
    const int status = statusOf(program.letGo());
    EXPECT_EQ(0, statusOf(peer));
    EXPECT_GT(status, 0) << "the program goes on by itself, and finds no control daemon";
    EXPECT_NE(127, status);

    const std::string name = "zvControl-cgi-bin";
    EXPECT_EQ((std::vector<std::string>{
                  "owners " + name + " " + name + " " + name + " " + name,
                  "words 2 0x00281420 0x30000000 10",
                  "tables DB>         10000000 ZV_ERR_NAK abru",
                  "level 3",
                  "exchange 16 pong",
                  "exchange -1 none",
              }),
              reportOf("/tmp/stranger.txt"));
    EXPECT_NE(0, access("/dev/mqueue/stranger", F_OK)) << "the reply mailbox is gone";
}

TEST(ExportedObjects, HoldTheirInitialValuesRowByRow) {
    Program program("show");
    EXPECT_GT(statusOf(program.letGo()), 0) << "the program goes on by itself, and finds no control daemon";
    EXPECT_EQ((std::vector<std::string>{
                  "2 0x00281420 0x30000000 10",
                  "|            | 0x00000000",
                  "|>Hb         | 0x00000001",
                  "| Hb>        | 0x00000002",
                  "| Hb<        | 0x00000004",
                  "|<Hb         | 0x00000008",
                  "|>Hc         | 0x00000010",
                  "| Hc>        | 0x00000020",
                  "| Hc<        | 0x00000040",
                  "|<Hc         | 0x00000080",
                  "|>UD         | 0x00000100",
                  "| UD>        | 0x00000200",
                  "| UD<        | 0x00000400",
                  "|<UD         | 0x00000800",
                  "|    >GN     | 0x00010000",
                  "|     GN>    | 0x00020000",
                  "|     GN<    | 0x00040000",
                  "|    <GN     | 0x00080000",
                  "|        >RT | 0x00100000",
                  "|         RT>| 0x00200000",
                  "|         RT<| 0x00400000",
                  "|        <RT | 0x00800000",
                  "|        >WI | 0x01000000",
                  "|        <WI | 0x02000000",
                  "|        >BT | 0x04000000",
                  "|        <BT | 0x08000000",
                  "|DB>         | 0x10000000",
                  "|DB<         | 0x20000000",
                  "|| 0x00000000",
                  "ZV_OK 0",
                  "ZV_ERR -1",
                  "ZV_ERR_OUTOFMEM -2",
                  "ZV_ERR_INVALID_PARAM -3",
                  "ZV_ERR_INCOMPLETE_CGI_PARAM -4",
                  "ZV_ERR_MQ_FAIL -5",
                  "ZV_ERR_NO_SDCARD -6",
                  "ZV_ERR_SDCARD_FULL -7",
                  "ZV_ERR_CREATING_MISC_DIR -8",
                  "ZV_ERR_UPLOADED_FILE -9",
                  "ZV_ERR_FILE_OPEN -10",
                  "ZV_ERR_FILE_READ -11",
                  "ZV_ERR_FILE_WRITE -12",
                  "ZV_ERR_REMOTE_FILE_OPEN -13",
                  "ZV_ERR_REMOTE_FILE_READ -14",
                  "ZV_ERR_REMOTE_FILE_WRITE -15",
                  "ZV_ERR_ACCESS_DENIED -16",
                  "ZV_ERR_NAK -17",
                  "ZV_ERR_RESPONSE_ALREADY_SENT -18",
                  "ZV_ERR_NAK_OFF -19",
                  "ZV_ERR_NOT_SUPPORTED -20",
                  "ZV_ERR_DOWNLOAD_FAILED -100",
              }),
              reportOf("/tmp/shown.txt"));
}

// Two instances of the program, each with the stranger beside it: one asks, the other one answers. All bytes between
// them come from the program's own calls.
TEST(ExportedExchange, StrangersExchangeMessagesWithEachOther) {
    makePeersMailbox();
    Program answerer("answer");
    Program asker("ask");
    const pid_t answering = answerer.letGo();
    const int askersStatus = statusOf(asker.letGo());
    const int answerersStatus = statusOf(answering);
    EXPECT_GT(askersStatus, 0) << "the program goes on by itself, and finds no control daemon";
    EXPECT_EQ(askersStatus, answerersStatus);

    EXPECT_EQ((std::vector<std::string>{
                  "request 0 44 0",
                  "type 1 AB ping /stranger",
                  "answer 0 48",
                  "close 0",
              }),
              reportOf("/tmp/answerer.txt"));
    const auto asked = reportOf("/tmp/stranger.txt");
    ASSERT_EQ(6U, asked.size());
    EXPECT_EQ("exchange 48 pong", asked[4]);
    EXPECT_EQ("exchange -1 none", asked[5]);
}

TEST(ExportedExchange, StrangersLinesAndTracesReachTheSystemLog) {
    const pid_t peer = startPeer();
    Program program;
    zvtest::SyslogCapture log;
    statusOf(program.letGo());
    statusOf(peer);
    const auto lines = log.texts();
    EXPECT_THAT(lines, testing::Contains("UTIL_LOG_WARN :hello camera\n @stranger:77"));
    EXPECT_THAT(lines,
                testing::Contains("DB>         00000000  002c0001 00000241 41420000 04427069  .,.....AAB...Bpi\n"));
}
