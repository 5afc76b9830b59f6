#include "installation.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

namespace zvtest {
namespace {

namespace fs = std::filesystem;

constexpr const char* directory = "/usr/local/zarvo/bin";
constexpr const char* journalPath = "/tmp/zvStream.journal";

// Interpreted, so that it runs on this machine whatever processor the tests are built for. Each process writes its
// lines in one piece.
constexpr const char* script = R"(#!/usr/bin/python3 -ISB
import os, signal, sys

def write(text):
    journal = os.open("/tmp/zvStream.journal", os.O_WRONLY | os.O_APPEND | os.O_CREAT, 0o600)
    os.write(journal, text.encode())
    os.close(journal)

def stop(*_):
    write("SIGINT\n")
    STOP

signal.signal(signal.SIGINT, stop)
lines = ["start" + "".join(f" [{argument}]" for argument in sys.argv[1:])]
for descriptor in sorted(os.listdir("/proc/self/fd"), key=int):
    try:
        lines.append(descriptor + " " + os.readlink("/proc/self/fd/" + descriptor))
    except OSError:
        pass  # the one that listed the others
write("".join(line + "\n" for line in lines))
while True:
    signal.pause()
)";

bool waitFor(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

std::vector<std::string> readLines() {
    std::vector<std::string> lines;
    std::ifstream file(journalPath);
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

} // namespace

Installation::Installation(bool stubborn) {
    fs::create_directories(directory);
    std::string text = script;
    text.replace(text.find("STOP\n"), 4, stubborn ? "pass" : "sys.exit(0)");
    const std::string program = std::string(directory) + "/zvStream";
    std::ofstream(program) << text;
    fs::permissions(program, fs::perms::owner_all);
}

Installation::~Installation() {
    for (const pid_t process : running()) {
        kill(process, SIGKILL);
    }
}

void Installation::addFile(const std::string& name) {
    std::ofstream(std::string(directory) + "/" + name) << "x";
}

std::vector<std::string> Installation::journal(std::size_t lines) {
    waitFor([&] { return readLines().size() >= lines; });
    return readLines();
}

std::vector<pid_t> Installation::running() {
    std::vector<pid_t> all;
    for (const auto& entry : fs::directory_iterator("/proc")) {
        const std::string number = entry.path().filename();
        std::string name;
        std::ifstream(entry.path() / "comm") >> name;
        if (name == "zvStream" && number.find_first_not_of("0123456789") == std::string::npos) {
            all.push_back(static_cast<pid_t>(std::stol(number)));
        }
    }
    return all;
}

bool Installation::becomes(std::size_t count) {
    return waitFor([&] { return running().size() == count; });
}

} // namespace zvtest
