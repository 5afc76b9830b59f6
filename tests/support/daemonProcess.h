// A daemon's real program, run by a test, and the queues that a client of it would use.
#pragma once

#include "adminClient.h"
#include "tlv.h"

#include <chrono>
#include <mqueue.h>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace zvtest {

using zvcamera::Bytes;

class DaemonProcess {
public:
    // Starts the program with the run folder /run/zarvo and waits until its admin socket answers. Ends the test program
    // when that takes more than 20 seconds. scenario: the text of a scenario file; empty for none.
    explicit DaemonProcess(const std::string& name, const std::string& scenario = "",
                           const std::vector<std::string>& more = {});
    // Ends the daemon, unless the test has done so.
    ~DaemonProcess();
    DaemonProcess(const DaemonProcess&) = delete;
    DaemonProcess& operator=(const DaemonProcess&) = delete;

    zvcamera::Json call(const std::string& op, zvcamera::Json arguments = zvcamera::Json::object());
    // Waits some seconds until a count of the daemon ("received", "skipped", ...) is `value`; returns the count.
    std::uint64_t waitForCount(const std::string& key, std::uint64_t value);
    void signal(int number) const;
    // Sends the signal and waits for the end. Returns the exit status, or minus the signal that ended it.
    int end(int number);
    // Waits for the end and returns the status likewise; -1000 when the daemon still runs after 10 seconds.
    int wait();

private:
    std::string name_;
    pid_t pid_;
};

struct Ended {
    int status; // exit status, or minus the signal that ended it
    std::string out;
    std::string error;
};
// Runs a program that is expected to end by itself.
Ended runToEnd(const std::string& name, const std::vector<std::string>& arguments);

// A client's queue, which lives as long as the object.
class TestQueue {
public:
    explicit TestQueue(std::string name, long messages = 2, long size = 1500);
    ~TestQueue();
    TestQueue(const TestQueue&) = delete;
    TestQueue& operator=(const TestQueue&) = delete;

    // Takes the next message; nothing when none comes in time.
    std::optional<Bytes> receive(std::chrono::milliseconds wait = std::chrono::seconds(5));
    const std::string& name() const { return name_; }

private:
    std::string name_;
    mqd_t queue_;
    std::size_t size_;
};

// Writes to a daemon's queue. False when there is no such queue, or no room in it for 10 seconds.
bool sendTo(const std::string& queue, const Bytes& message);
bool queueExists(const std::string& queue);

// A request as the gateway makes it.
Bytes request(const std::string& tag, const Bytes& data, const std::string& replyQueue, const std::string& destination);

} // namespace zvtest
