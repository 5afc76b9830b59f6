#include "replyQueueGuard.h"

#include <atomic>
#include <csignal>
#include <mqueue.h>
#include <unistd.h>

namespace {

constexpr int endingSignals[] = {SIGTERM, SIGINT, SIGHUP, SIGPIPE};

std::atomic<const char*> guardedName = nullptr;
std::atomic<pid_t> guardingProcess = 0;
static_assert(std::atomic<const char*>::is_always_lock_free && std::atomic<pid_t>::is_always_lock_free);

// A handler may call this: mq_unlink is no more than its system call, with neither locks nor memory of its own.
void removeGuarded() {
    const char* const name = guardedName;
    if (name != nullptr && getpid() == guardingProcess) {
        mq_unlink(name);
    }
}

// Runs with the default action restored (SA_RESETHAND) and the signal blocked: raised again, it ends the process when
// the handler returns.
void removeAndEnd(int signal) {
    removeGuarded();
    std::raise(signal);
}

struct sigaction guardingAction() {
    struct sigaction action {};
    action.sa_handler = removeAndEnd;
    action.sa_flags = SA_RESETHAND;
    sigemptyset(&action.sa_mask);
    for (const int signal : endingSignals) {
        sigaddset(&action.sa_mask, signal); // a second signal must not end the process before the queue is gone
    }
    return action;
}

void takeSignals() {
    const struct sigaction action = guardingAction();
    sigset_t before{};
    // A signal that is ignored must not meet the handler before its action is put back.
    sigprocmask(SIG_BLOCK, &action.sa_mask, &before);
    for (const int signal : endingSignals) {
        struct sigaction actionBefore {};
        sigaction(signal, &action, &actionBefore);
        if ((actionBefore.sa_flags & SA_SIGINFO) != 0 || actionBefore.sa_handler != SIG_DFL) {
            sigaction(signal, &actionBefore, nullptr);
        }
    }
    sigprocmask(SIG_SETMASK, &before, nullptr);
}

// A closed library may end the process while the link is open.
struct ExitGuard {
    ExitGuard() = default;
    ExitGuard(const ExitGuard&) = delete;
    ExitGuard& operator=(const ExitGuard&) = delete;
    ~ExitGuard() { removeGuarded(); }
};
const ExitGuard exitGuard;

} // namespace

void guardReplyQueue(const char* name, pid_t owner) {
    guardingProcess = owner;
    guardedName = name;
    takeSignals();
}

void releaseReplyQueue() {
    guardedName = nullptr;
}
