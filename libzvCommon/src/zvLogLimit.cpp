#include "zvLogLimit.h"

#include <atomic>
#include <csignal>
#include <unistd.h>

namespace zv {
namespace {

// Ignored unless it has a handler: one that comes late does no harm.
constexpr int interruption = SIGURG;

constexpr long nanosecondsPerMillisecond = 1'000'000;
constexpr long usualWait = 250 * nanosecondsPerMillisecond;
constexpr long shortWait = 1 * nanosecondsPerMillisecond;
// syslog connects and sends again when sending fails, and the second wait has to be interrupted too.
constexpr long repetition = 1 * nanosecondsPerMillisecond;

constexpr long shortWaitSeconds = 60;

std::atomic<unsigned> interruptions = 0;
static_assert(std::atomic<unsigned>::is_always_lock_free);

constexpr long never = -1;
std::atomic<long> lastLoss = never; // in seconds of the monotonic clock

void countInterruption(int /*signal*/) {
    ++interruptions;
}

bool hasHandler(const struct sigaction& action) {
    return (action.sa_flags & SA_SIGINFO) != 0 || (action.sa_handler != SIG_DFL && action.sa_handler != SIG_IGN);
}

// Sets the handler where there is none. Not restored: other threads may be waiting for the log as well. False when the
// process handles the signal itself, which it may begin to do at any time.
bool canInterrupt() {
    struct sigaction now {};
    sigaction(interruption, nullptr, &now);
    if (hasHandler(now)) {
        return now.sa_handler == countInterruption;
    }
    struct sigaction interrupting {};
    interrupting.sa_handler = countInterruption; // without SA_RESTART: the interrupted call fails
    return sigaction(interruption, &interrupting, nullptr) == 0;
}

long now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<long>(time.tv_sec);
}

long longestWait() {
    const long lost = lastLoss;
    return lost == never || now() - lost >= shortWaitSeconds ? usualWait : shortWait;
}

// Changes whether this thread takes the interruption, and returns whether it was blocked before.
bool setBlocked(bool blocked) {
    sigset_t set;
    sigset_t before{};
    sigemptyset(&set);
    sigaddset(&set, interruption);
    pthread_sigmask(blocked ? SIG_BLOCK : SIG_UNBLOCK, &set, &before);
    return sigismember(&before, interruption) == 1;
}

bool startTimer(timer_t& timer) {
    sigevent event{};
    event.sigev_notify = SIGEV_THREAD_ID; // of several threads, the one that waits
    event.sigev_signo = interruption;
    event._sigev_un._tid = gettid();
    if (timer_create(CLOCK_MONOTONIC, &event, &timer) != 0) {
        return false;
    }
    const itimerspec wait{{0, repetition}, {0, longestWait()}};
    timer_settime(timer, 0, &wait, nullptr);
    return true;
}

} // namespace

LogLimit::LogLimit() {
    if (!canInterrupt()) {
        return;
    }
    wasBlocked_ = setBlocked(false);
    interruptionsBefore_ = interruptions;
    running_ = startTimer(timer_);
}

LogLimit::~LogLimit() {
    if (running_) {
        timer_delete(timer_);
        if (interruptions != interruptionsBefore_) {
            lastLoss = now();
        }
    }
    if (wasBlocked_) {
        setBlocked(true);
    }
}

} // namespace zv
