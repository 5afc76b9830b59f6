#include "linkFaults.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <map>
#include <sys/time.h>

// Where the time of a 32-bit processor is given 64 bits, the call has another name.
#ifdef __USE_TIME_BITS64
#define REAL_GETTIMEOFDAY __real___gettimeofday64
#define WRAP_GETTIMEOFDAY __wrap___gettimeofday64
#define REAL_CLOCK_GETTIME __real___clock_gettime64
#define WRAP_CLOCK_GETTIME __wrap___clock_gettime64
#else
#define REAL_GETTIMEOFDAY __real_gettimeofday
#define WRAP_GETTIMEOFDAY __wrap_gettimeofday
#define REAL_CLOCK_GETTIME __real_clock_gettime
#define WRAP_CLOCK_GETTIME __wrap_clock_gettime
#endif

extern "C" {
void* __real_malloc(std::size_t size);
void __real_free(void* block);
mqd_t __real_mq_open(const char* name, int flags, ...);
int __real_mq_close(mqd_t queue);
int __real_mq_unlink(const char* name);
void __real_vsyslog(int priority, const char* format, va_list arguments);
int REAL_GETTIMEOFDAY(timeval* time, void* zone);
int REAL_CLOCK_GETTIME(clockid_t clock, timespec* time);
}

namespace faults {

int failingAllocation = 0;
std::string unopenableQueue;
int unopenableTimes = INT_MAX;
int unopenableError = EACCES;
std::string unclosableQueue;
bool unlinkFails = false;
int signalAfterCreating = 0;
int signalAfterRemoving = 0;
int clockOffset = 0;
std::atomic<int> monotonicOffset{0};

std::vector<std::size_t> allocations;
std::vector<OpenCall> opens;
std::vector<std::string> unlinks;
int closes = 0;

namespace {

// Only the thread that called arm() is disturbed: the peer and the log have queues and memory of their own.
thread_local bool armed = false;

// Holds the bookkeeping's own calls off.
class Pause {
public:
    Pause() : before_(armed) { armed = false; }
    ~Pause() { armed = before_; }
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;

private:
    bool before_;
};

std::vector<void*>& blocks() {
    static std::vector<void*> all;
    return all;
}

void raiseIfAny(int signal) {
    if (signal != 0) {
        std::raise(signal);
    }
}

std::map<mqd_t, std::string>& names() {
    static std::map<mqd_t, std::string> all;
    return all;
}

} // namespace

void arm() {
    allocations.clear();
    opens.clear();
    unlinks.clear();
    closes = 0;
    armed = true;
}

void disarm() {
    armed = false;
}

std::size_t unfreed() {
    return blocks().size();
}

void freeUnfreed() {
    for (void* block : blocks()) {
        __real_free(block);
    }
    blocks().clear();
}

} // namespace faults

using namespace faults;

extern "C" void* __wrap_malloc(std::size_t size) {
    if (!armed) {
        return __real_malloc(size);
    }
    const Pause pause;
    allocations.push_back(size);
    if (static_cast<int>(allocations.size()) == failingAllocation) {
        errno = ENOMEM;
        return nullptr;
    }
    void* const block = __real_malloc(size);
    // Memory is not zero by itself, and nothing may count on it.
    std::fill_n(static_cast<unsigned char*>(block), size, static_cast<unsigned char>(0x5A));
    blocks().push_back(block);
    return block;
}

// In a static program the C library's own allocations come here too. Those for the log do not count as the link's.
extern "C" void __wrap_syslog(int priority, const char* format, ...) {
    const Pause pause;
    va_list arguments;
    va_start(arguments, format);
    __real_vsyslog(priority, format, arguments);
    va_end(arguments);
}

extern "C" void __wrap_free(void* block) {
    if (armed) {
        const Pause pause;
        auto& all = blocks();
        all.erase(std::remove(all.begin(), all.end(), block), all.end());
    }
    __real_free(block);
}

extern "C" mqd_t __wrap_mq_open(const char* name, int flags, ...) {
    OpenCall call{name, flags, 0, {}};
    if ((flags & O_CREAT) != 0) {
        std::va_list arguments;
        va_start(arguments, flags);
        call.mode = va_arg(arguments, unsigned);
        call.attributes = *va_arg(arguments, mq_attr*);
        va_end(arguments);
    }
    if (!armed) {
        const mqd_t queue = __real_mq_open(name, flags, call.mode, &call.attributes);
        raiseIfAny((flags & O_CREAT) != 0 ? signalAfterCreating : 0);
        return queue;
    }
    const Pause pause;
    opens.push_back(call);
    if (unopenableQueue == name && unopenableTimes > 0) {
        --unopenableTimes;
        errno = unopenableError;
        return -1;
    }
    const mqd_t queue = __real_mq_open(name, flags, call.mode, &call.attributes);
    names()[queue] = name;
    return queue;
}

extern "C" int __wrap_mq_close(mqd_t queue) {
    const int result = __real_mq_close(queue);
    if (!armed) {
        return result;
    }
    const Pause pause;
    ++closes;
    if (!unclosableQueue.empty() && names()[queue] == unclosableQueue) {
        errno = EBADF;
        return -1;
    }
    return result;
}

extern "C" int __wrap_mq_unlink(const char* name) {
    const int result = __real_mq_unlink(name);
    if (!armed) {
        raiseIfAny(signalAfterRemoving);
        return result;
    }
    const Pause pause;
    unlinks.emplace_back(name);
    if (unlinkFails) {
        errno = EACCES;
        return -1;
    }
    return result;
}

extern "C" int WRAP_GETTIMEOFDAY(timeval* time, void* zone) {
    const int result = REAL_GETTIMEOFDAY(time, zone);
    time->tv_sec += clockOffset;
    return result;
}

extern "C" int WRAP_CLOCK_GETTIME(clockid_t clock, timespec* time) {
    const int result = REAL_CLOCK_GETTIME(clock, time);
    if (clock == CLOCK_MONOTONIC) {
        time->tv_sec += monotonicOffset;
    }
    return result;
}
