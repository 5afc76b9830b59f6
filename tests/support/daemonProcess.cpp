#include "daemonProcess.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace zvtest {
namespace {

using Clock = std::chrono::steady_clock;

pid_t spawn(const std::string& name, const std::vector<std::string>& arguments, int outFd, int errorFd) {
    const std::string program = std::string(ZV_BUILD_DIR) + "/" + name;
    std::vector<std::string> words{program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const pid_t pid = fork();
    if (pid == 0) {
        std::vector<char*> argv;
        for (std::string& word : words) {
            argv.push_back(word.data());
        }
        argv.push_back(nullptr);
        if (outFd >= 0) {
            dup2(outFd, STDOUT_FILENO);
            dup2(errorFd, STDERR_FILENO);
        }
        execv(program.c_str(), argv.data());
        _exit(127);
    }
    return pid;
}

int statusOf(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

timespec deadlineAfter(std::chrono::milliseconds wait) {
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    const long nanos = time.tv_nsec + static_cast<long>(wait.count() % 1000) * 1000000;
    time.tv_sec += static_cast<time_t>(wait.count() / 1000 + nanos / 1000000000);
    time.tv_nsec = nanos % 1000000000;
    return time;
}

} // namespace

DaemonProcess::DaemonProcess(const std::string& name, const std::string& scenario, const std::vector<std::string>& more)
    : name_(name) {
    mkdir("/run/zarvo", 0777);
    std::vector<std::string> arguments = more;
    if (!scenario.empty()) {
        std::ofstream("/tmp/" + name + ".scenario") << scenario;
        arguments.insert(arguments.end(), {"--scenario", "/tmp/" + name + ".scenario"});
    }
    pid_ = spawn(name, arguments, -1, -1);
    for (const Clock::time_point end = Clock::now() + std::chrono::seconds(20); Clock::now() < end;) {
        try {
            call("nothing");
        } catch (const std::system_error&) { // nobody listens yet
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            continue;
        } catch (const std::runtime_error&) { // it answers that it does not know this operation
            return;
        }
    }
    std::fprintf(stderr, "%s does not come up\n", name.c_str());
    std::abort();
}

DaemonProcess::~DaemonProcess() {
    if (pid_ > 0) {
        signal(SIGCONT);
        end(SIGTERM);
    }
}

zvcamera::Json DaemonProcess::call(const std::string& op, zvcamera::Json arguments) {
    return AdminClient("/run/zarvo/" + name_ + ".admin").call(op, std::move(arguments));
}

std::uint64_t DaemonProcess::waitForCount(const std::string& key, std::uint64_t value) {
    std::uint64_t count = 0;
    for (int i = 0; i < 2000; ++i) {
        count = call("queue").at(key).get<std::uint64_t>();
        if (count == value) {
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return count;
}

void DaemonProcess::signal(int number) const {
    kill(pid_, number);
}

int DaemonProcess::end(int number) {
    signal(number);
    return wait();
}

int DaemonProcess::wait() {
    int status = 0;
    for (int i = 0; i < 5000; ++i) {
        if (waitpid(pid_, &status, WNOHANG) == pid_) {
            pid_ = -1;
            return statusOf(status);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return -1000;
}

Ended runToEnd(const std::string& name, const std::vector<std::string>& arguments) {
    const std::string outPath = "/tmp/" + name + ".out";
    const std::string errorPath = "/tmp/" + name + ".error";
    const int out = open(outPath.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
    const int error = open(errorPath.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
    const pid_t pid = spawn(name, arguments, out, error);
    close(out);
    close(error);
    int status = 0;
    waitpid(pid, &status, 0);
    const auto whole = [](const std::string& path) {
        std::ifstream file(path);
        return std::string{std::istreambuf_iterator<char>(file), {}};
    };
    return {statusOf(status), whole(outPath), whole(errorPath)};
}

TestQueue::TestQueue(std::string name, long messages, long size)
    : name_(std::move(name)),
      size_(static_cast<std::size_t>(size)) {
    mq_attr attributes{};
    attributes.mq_maxmsg = messages;
    attributes.mq_msgsize = size;
    mq_unlink(name_.c_str());
    queue_ = mq_open(name_.c_str(), O_RDONLY | O_CREAT, 0664, &attributes);
}

TestQueue::~TestQueue() {
    mq_close(queue_);
    mq_unlink(name_.c_str());
}

std::optional<Bytes> TestQueue::receive(std::chrono::milliseconds wait) {
    Bytes buffer(size_);
    const timespec deadline = deadlineAfter(wait);
    const ssize_t length =
        mq_timedreceive(queue_, reinterpret_cast<char*>(buffer.data()), buffer.size(), nullptr, &deadline);
    if (length < 0) {
        return std::nullopt;
    }
    buffer.resize(static_cast<std::size_t>(length));
    return buffer;
}

bool sendTo(const std::string& queue, const Bytes& message) {
    const mqd_t out = mq_open(queue.c_str(), O_WRONLY);
    if (out == static_cast<mqd_t>(-1)) {
        return false;
    }
    const timespec deadline = deadlineAfter(std::chrono::seconds(10));
    static constexpr char nothing = 0;
    const char* data = message.empty() ? &nothing : reinterpret_cast<const char*>(message.data());
    const int sent = mq_timedsend(out, data, message.size(), 0, &deadline);
    mq_close(out);
    return sent == 0;
}

bool queueExists(const std::string& queue) {
    struct stat status {};
    return stat(("/dev/mqueue" + queue).c_str(), &status) == 0;
}

Bytes request(const std::string& tag, const Bytes& data, const std::string& replyQueue,
              const std::string& destination) {
    const auto bytes = [](const std::string& text) { return Bytes(text.begin(), text.end()); };
    return zvcamera::encodeMessage(
        {2, {{65, bytes(tag)}, {66, data}, {68, bytes(replyQueue)}, {67, bytes(destination)}, {238, {}}}});
}

} // namespace zvtest
