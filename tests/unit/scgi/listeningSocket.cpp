#include "listeningSocket.h"

#include "child.h"
#include "refusedCalls.h"
#include "scgiClient.h"
#include "scgiOptions.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace {

namespace files = std::filesystem;

constexpr const char* path = "/tmp/gateway.sock";

ScgiOptions at(const std::string& place = path) {
    ScgiOptions options;
    options.socket = place;
    return options;
}

TEST(ListeningSocket, ListensAtItsPath) {
    ListeningSocket socket;
    EXPECT_FALSE(socket.isOpen());
    EXPECT_EQ("", socket.open(at()));
    EXPECT_TRUE(socket.isOpen());
    EXPECT_TRUE(zvtest::connectTo(path).ok());
    EXPECT_EQ(O_NONBLOCK, fcntl(socket.get(), F_GETFL) & O_NONBLOCK);
    EXPECT_EQ(FD_CLOEXEC, fcntl(socket.get(), F_GETFD));
}

TEST(ListeningSocket, HasItsModeWhateverTheUmaskIs) {
    for (const mode_t mask : {0U, 0777U}) {
        umask(mask);
        ScgiOptions options = at();
        options.mode = 0640;
        ListeningSocket socket;
        EXPECT_EQ("", socket.open(options));
        struct stat status {};
        ASSERT_EQ(0, stat(path, &status));
        EXPECT_EQ(0640U, status.st_mode & 0777U);
        EXPECT_EQ(mask, umask(mask));
    }
}

TEST(ListeningSocket, HasItsOwner) {
    ScgiOptions options = at();
    options.user = getuid();
    options.group = getgid();
    ListeningSocket socket;
    EXPECT_EQ("", socket.open(options));
    struct stat status {};
    ASSERT_EQ(0, stat(path, &status));
    EXPECT_EQ(getuid(), status.st_uid);
}

// What the system refuses: this call, once.
TEST(ListeningSocket, IsGoneWhenTheSystemRefusesIt) {
    for (bool* const refused : {&zvtest::chownFails, &zvtest::listenFails}) {
        *refused = true;
        ListeningSocket socket;
        EXPECT_EQ("/tmp/gateway.sock: Operation not permitted", socket.open(at()));
        EXPECT_FALSE(files::exists(path));
        EXPECT_FALSE(socket.isOpen());
        *refused = false;
    }
}

TEST(ListeningSocket, TakesItsPathAlong) {
    {
        ListeningSocket socket;
        EXPECT_EQ("", socket.open(at()));
    }
    EXPECT_FALSE(files::exists(path));
}

TEST(ListeningSocket, ClosesOnce) {
    ListeningSocket socket;
    EXPECT_EQ("", socket.open(at()));
    socket.close();
    std::ofstream(path) << "another file";
    socket.close();
    EXPECT_TRUE(files::exists(path));
}

TEST(ListeningSocket, LeavesWhatOthersHavePutInItsPlace) {
    ListeningSocket first;
    ListeningSocket second;
    EXPECT_EQ("", first.open(at()));
    files::rename(path, "/tmp/aside");
    EXPECT_EQ("", second.open(at()));
    first.close();
    EXPECT_TRUE(zvtest::connectTo(path).ok());
    files::remove(path);
    std::ofstream(path) << "another file";
    second.close();
    EXPECT_TRUE(files::exists(path));
}

TEST(ListeningSocket, TakesThePlaceOfOneThatNobodyListensAt) {
    ListeningSocket abandoned;
    EXPECT_EQ("", abandoned.open(at()));
    abandoned.leave();
    EXPECT_TRUE(files::exists(path));
    ListeningSocket socket;
    EXPECT_EQ("", socket.open(at()));
    EXPECT_TRUE(zvtest::connectTo(path).ok());
}

TEST(ListeningSocket, DisturbsNobody) {
    ListeningSocket first;
    EXPECT_EQ("", first.open(at()));
    EXPECT_EQ("/tmp/gateway.sock: Address already in use", ListeningSocket().open(at()));
    EXPECT_TRUE(zvtest::connectTo(path).ok());
    const zv::UniqueFd other(::socket(AF_UNIX, SOCK_DGRAM, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "/tmp/other");
    ASSERT_EQ(0, bind(other.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address));
    EXPECT_EQ("/tmp/other: Address already in use", ListeningSocket().open(at("/tmp/other")));
    std::ofstream("/tmp/file") << "something";
    EXPECT_EQ("/tmp/file: Address already in use", ListeningSocket().open(at("/tmp/file")));
    EXPECT_TRUE(files::exists("/tmp/file"));
}

TEST(ListeningSocket, SaysWhyThereIsNone) {
    EXPECT_EQ("/tmp/no/folder: No such file or directory", ListeningSocket().open(at("/tmp/no/folder")));
    const std::string longest(107, 'x');
    EXPECT_EQ(longest + "x: longer than a socket's path may be", ListeningSocket().open(at(longest + "x")));
}

// What happens with a socket, of this kind, that a starter has opened as this descriptor.
std::string inherit(int descriptor, int kind = SOCK_STREAM, bool listening = true) {
    const auto ended = zvtest::inChild([=] {
        const int made = ::socket(AF_UNIX, kind, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, "/tmp/inherited");
        EXPECT_EQ(0, bind(made, reinterpret_cast<const sockaddr*>(&address), sizeof address));
        if (listening) {
            EXPECT_EQ(0, listen(made, 1));
        }
        dup2(made, descriptor);
        ListeningSocket socket;
        const std::string reason = socket.open(ScgiOptions());
        std::printf("%s", reason.empty() ? ("descriptor " + std::to_string(socket.get())).c_str() : reason.c_str());
        if (reason.empty()) {
            EXPECT_EQ(O_NONBLOCK, fcntl(socket.get(), F_GETFL) & O_NONBLOCK);
            EXPECT_EQ(FD_CLOEXEC, fcntl(socket.get(), F_GETFD));
        }
        socket.close();
        EXPECT_TRUE(files::exists("/tmp/inherited"));
        files::remove("/tmp/inherited");
        std::fflush(stdout);
    });
    EXPECT_EQ(0, ended.status) << ended.out;
    return ended.out;
}

constexpr const char* none = "no socket is inherited that listens for connections; --socket PATH opens one";

// A child whose standard input is a listening socket.
zvtest::Ended inheritAsInput(void (*look)(ListeningSocket& socket)) {
    return zvtest::inChild([look] {
        ListeningSocket listening;
        EXPECT_EQ("", listening.open(at()));
        dup2(listening.get(), STDIN_FILENO);
        listening.leave();
        ListeningSocket socket;
        look(socket);
    });
}

TEST(InheritedSocket, IsStandardInputAndLeavesItToRequests) {
    const auto ended = inheritAsInput([](ListeningSocket& socket) {
        EXPECT_EQ("", socket.open(ScgiOptions()));
        EXPECT_LT(STDERR_FILENO, socket.get());
        EXPECT_EQ(FD_CLOEXEC, fcntl(socket.get(), F_GETFD));
        EXPECT_EQ(O_NONBLOCK, fcntl(socket.get(), F_GETFL) & O_NONBLOCK);
        EXPECT_TRUE(zvtest::connectTo(path).ok());
        EXPECT_EQ("/dev/null", files::read_symlink("/proc/self/fd/0"));
        socket.close();
        EXPECT_FALSE(zvtest::connectTo(path).ok());
    });
    EXPECT_EQ(0, ended.status) << ended.out;
}

TEST(InheritedSocket, NeedsADescriptor) {
    const auto ended = inheritAsInput([](ListeningSocket& socket) {
        rlimit before{};
        getrlimit(RLIMIT_NOFILE, &before);
        const rlimit nothing{0, before.rlim_max};
        setrlimit(RLIMIT_NOFILE, &nothing);
        EXPECT_EQ("the inherited socket: Invalid argument", socket.open(ScgiOptions()));
        setrlimit(RLIMIT_NOFILE, &before); // what counts the lines that ran writes a file
    });
    EXPECT_EQ(0, ended.status) << ended.out;
}

TEST(InheritedSocket, IsOneOfConnections) {
    EXPECT_EQ(none, ListeningSocket().open(ScgiOptions()));
    EXPECT_EQ(none, inherit(STDIN_FILENO, SOCK_STREAM, false));
    EXPECT_EQ(none, inherit(STDIN_FILENO, SOCK_SEQPACKET));
}

TEST(InheritedSocket, IsNotThatOfAnotherProcess) {
    setenv("LISTEN_PID", "1", 1);
    setenv("LISTEN_FDS", "1", 1);
    EXPECT_EQ(none, inherit(3));
}

// A child whose own process number stands in LISTEN_PID.
std::string inheritFromSystemd(const char* count) {
    const auto ended = zvtest::inChild([count] {
        setenv("LISTEN_PID", std::to_string(getpid()).c_str(), 1);
        setenv("LISTEN_FDS", count, 1);
        ListeningSocket listening;
        EXPECT_EQ("", listening.open(at()));
        dup2(listening.get(), 3);
        ListeningSocket socket;
        const std::string reason = socket.open(ScgiOptions());
        std::printf("%s", reason.empty() ? ("descriptor " + std::to_string(socket.get())).c_str() : reason.c_str());
    });
    EXPECT_EQ(0, ended.status) << ended.out;
    return ended.out;
}

TEST(InheritedSocket, IsSystemdsFirst) {
    EXPECT_EQ("descriptor 3", inheritFromSystemd("1"));
}

TEST(InheritedSocket, IsTheOnlyOne) {
    EXPECT_EQ("systemd has passed other than one socket", inheritFromSystemd("2"));
    EXPECT_EQ("systemd has passed other than one socket", inheritFromSystemd("x"));
}

} // namespace
