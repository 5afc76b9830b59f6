#include "runFolder.h"

#include "unixSocket.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

using namespace zvcamera;

namespace {

const std::string cameras = "/tmp/cameras";

// Keeps the admin sockets of cameras open for as long as it lives.
class Cameras {
public:
    void start(const std::string& port, const std::string& socket = "supervisor.admin") {
        const std::string run = cameras + "/" + port + "/run";
        std::filesystem::create_directories(run);
        listeners_.push_back(listenUnix(run + "/" + socket, SOCK_STREAM));
    }

private:
    std::vector<zv::UniqueFd> listeners_;
};

std::string problem(const std::string& given, std::optional<int> port) {
    try {
        return "found " + chooseRunFolder(given, port, cameras);
    } catch (const NoCamera& error) {
        return error.what();
    }
}

} // namespace

TEST(RunFolder, CamerasAreBelowTheTemporaryFolder) {
    unsetenv("TMPDIR");
    EXPECT_EQ("/tmp/zvcam-" + std::to_string(getuid()), camerasFolder());
    setenv("TMPDIR", "", 1);
    EXPECT_EQ("/tmp/zvcam-" + std::to_string(getuid()), camerasFolder());
    setenv("TMPDIR", "/elsewhere", 1);
    EXPECT_EQ("/elsewhere/zvcam-" + std::to_string(getuid()), camerasFolder());
}

TEST(RunFolder, TheOnlyCameraNeedsNoChoice) {
    Cameras running;
    running.start("8080");
    EXPECT_EQ("found /tmp/cameras/8080/run", problem("", std::nullopt));
    EXPECT_EQ("found /tmp/cameras/8080/run", problem("", 8080));
}

TEST(RunFolder, SeveralCamerasNeedAChoice) {
    Cameras running;
    running.start("9001");
    running.start("8080", "zvControlD.admin");
    EXPECT_EQ("more than one camera is running, choose with --port: 8080, 9001", problem("", std::nullopt));
    EXPECT_EQ("found /tmp/cameras/9001/run", problem("", 9001));
    EXPECT_EQ("found /tmp/cameras/8080/run", problem("", 8080));
    EXPECT_EQ("no camera runs on port 80; running: 8080, 9001", problem("", 80));
}

TEST(RunFolder, NoCameraIsSaid) {
    EXPECT_EQ("no camera is running (looked in /tmp/cameras)", problem("", std::nullopt));
    EXPECT_EQ("no camera runs on port 8080", problem("", 8080));
}

TEST(RunFolder, WhatIsLeftOfACameraIsNone) {
    {
        Cameras ended;
        ended.start("8080");
    }
    ASSERT_TRUE(std::filesystem::exists("/tmp/cameras/8080/run/supervisor.admin"));
    Cameras running;
    running.start("8081");
    std::filesystem::create_directories("/tmp/cameras/notaport/run");
    std::filesystem::create_directories("/tmp/cameras/70000/run");
    EXPECT_EQ("found /tmp/cameras/8081/run", problem("", std::nullopt));
}

TEST(RunFolder, AGivenFolderIsTaken) {
    EXPECT_EQ("found /some/where", problem("/some/where", std::nullopt));
}

TEST(RunFolder, AFolderTooLongForASocketIsReachedAllTheSame) {
    const std::string deep = "/tmp/" + std::string(150, 'd');
    std::filesystem::create_directories(deep);
    const std::string path = socketPath(deep, "x.admin");
    EXPECT_LT(path.size(), 100U);
    const zv::UniqueFd listener = listenUnix(path, SOCK_STREAM);
    EXPECT_TRUE(std::filesystem::exists(deep + "/x.admin"));
    EXPECT_TRUE(connectUnix(socketPath(deep, "x.admin"), SOCK_STREAM).ok());
    EXPECT_THROW(socketPath(deep + "/missing", "x.admin"), NoCamera);
    EXPECT_EQ("/run/zarvo/x.admin", socketPath("/run/zarvo", "x.admin"));
}
