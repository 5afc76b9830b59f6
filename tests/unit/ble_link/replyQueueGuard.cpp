#include "replyQueueGuard.h"

#include "bleTest.h"
#include "child.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/wait.h>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using zvtest::inChild;

namespace {

constexpr int endingSignals[] = {SIGTERM, SIGINT, SIGHUP, SIGPIPE};

std::vector<std::string> replyQueues() {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/mqueue")) {
        if (const std::string name = entry.path().filename(); name.starts_with("to_ZVCC")) {
            found.push_back("/" + name);
        }
    }
    return found;
}

// Waits for a child and gives its status as Ended has it.
int statusOf(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

bool hasDefaultAction(int signal) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    return action.sa_handler == SIG_DFL;
}

// A child that a signal ends tells nothing of what failed in it.
void raiseUnlessFailed(int signal) {
    if (!testing::Test::HasFailure()) {
        std::raise(signal);
    }
}

volatile std::sig_atomic_t handled = 0;

// A network daemon's queue that nobody reads, in which the children find room.
class ReplyQueueGuard : public testing::Test {
protected:
    ReplyQueueGuard() {
        mq_attr attributes{};
        attributes.mq_maxmsg = 1;
        attributes.mq_msgsize = 2048;
        queue_ = mq_open("/to_zvnet", O_RDWR | O_CREAT, 0600, &attributes);
        for (const int signal : endingSignals) {
            std::signal(signal, SIG_DFL);
        }
    }
    ~ReplyQueueGuard() override {
        mq_close(queue_);
        mq_unlink("/to_zvnet");
    }

private:
    mqd_t queue_ = -1;
};

} // namespace

TEST_F(ReplyQueueGuard, SignalRemovesTheQueueAndEndsTheProcess) {
    for (const int signal : endingSignals) {
        const auto ended = inChild([signal] {
            EXPECT_EQ(0, ble_interface_open());
            EXPECT_THAT(replyQueues(), ElementsAre(QueuePeer::replyQueueName()));
            raiseUnlessFailed(signal);
        });
        EXPECT_EQ(-signal, ended.status) << ended.out << ended.err;
        EXPECT_THAT(replyQueues(), IsEmpty());
    }
}

TEST_F(ReplyQueueGuard, SignalJustBehindTheCreationRemovesTheQueue) {
    for (const int signal : endingSignals) {
        const auto ended = inChild([signal] {
            faults::signalAfterCreating = signal;
            ble_interface_open();
        });
        EXPECT_EQ(-signal, ended.status);
        EXPECT_THAT(replyQueues(), IsEmpty());
    }
}

TEST_F(ReplyQueueGuard, SignalJustBehindTheRemovalEndsTheProcess) {
    for (const int signal : endingSignals) {
        const auto ended = inChild([signal] {
            EXPECT_EQ(0, ble_interface_open());
            faults::signalAfterRemoving = signal;
            ble_interface_close();
        });
        EXPECT_EQ(-signal, ended.status);
        EXPECT_THAT(replyQueues(), IsEmpty());
    }
}

TEST_F(ReplyQueueGuard, EndOfTheProcessRemovesTheQueue) {
    const auto ended = inChild([] {
        EXPECT_EQ(0, ble_interface_open());
        std::exit(3); // as a failed check of the support library ends it
    });
    EXPECT_EQ(3, ended.status);
    EXPECT_THAT(replyQueues(), IsEmpty());
}

TEST_F(ReplyQueueGuard, IgnoredSignalStaysIgnored) {
    const auto ended = inChild([] {
        for (const int signal : endingSignals) {
            std::signal(signal, SIG_IGN);
        }
        EXPECT_EQ(0, ble_interface_open());
        for (const int signal : endingSignals) {
            std::raise(signal);
        }
        EXPECT_THAT(replyQueues(), SizeIs(1));
        EXPECT_EQ(5 << 8, std::system("kill -HUP $$; kill -TERM $$; exit 5"));
        EXPECT_EQ(0, ble_interface_close());
        for (const int signal : endingSignals) {
            std::raise(signal);
        }
    });
    EXPECT_EQ(0, ended.status) << ended.out << ended.err;
}

TEST_F(ReplyQueueGuard, HandlerOfTheProcessStays) {
    const auto ended = inChild([] {
        std::signal(SIGTERM, [](int) { handled = handled + 1; });
        EXPECT_EQ(0, ble_interface_open());
        std::raise(SIGTERM);
        EXPECT_EQ(1, handled);
        EXPECT_THAT(replyQueues(), SizeIs(1));
        EXPECT_EQ(0, ble_interface_close());
        std::raise(SIGTERM);
        EXPECT_FALSE(hasDefaultAction(SIGTERM));
    });
    EXPECT_EQ(0, ended.status) << ended.out << ended.err;
}

// The system hands such a handler more than the signal's number.
TEST_F(ReplyQueueGuard, HandlerThatIsToldMoreStays) {
    const auto ended = inChild([] {
        struct sigaction telling {};
        telling.sa_sigaction = [](int, siginfo_t*, void*) { handled = handled + 1; };
        telling.sa_flags = SA_SIGINFO;
        sigaction(SIGTERM, &telling, nullptr);
        EXPECT_EQ(0, ble_interface_open());
        std::raise(SIGTERM);
        EXPECT_EQ(1, handled);
        sigaction(SIGINT, &telling, nullptr); // while the link is open
        EXPECT_EQ(0, ble_interface_close());
        std::raise(SIGTERM);
        std::raise(SIGINT);
        EXPECT_EQ(3, handled);
    });
    EXPECT_EQ(0, ended.status) << ended.out << ended.err;
}

TEST_F(ReplyQueueGuard, ActionThatIsSetWhileTheLinkIsOpenStays) {
    const auto ended = inChild([] {
        EXPECT_EQ(0, ble_interface_open());
        std::signal(SIGPIPE, SIG_IGN);
        std::signal(SIGHUP, [](int) { handled = handled + 1; });
        EXPECT_EQ(0, ble_interface_close());
        std::raise(SIGPIPE);
        std::raise(SIGHUP);
        EXPECT_EQ(1, handled);
    });
    EXPECT_EQ(0, ended.status) << ended.out << ended.err;
}

TEST_F(ReplyQueueGuard, BlockedSignalStaysBlocked) {
    const auto ended = inChild([] {
        sigset_t term;
        sigset_t now;
        sigemptyset(&term);
        sigaddset(&term, SIGTERM);
        sigprocmask(SIG_SETMASK, &term, nullptr);
        EXPECT_EQ(0, ble_interface_open());
        std::raise(SIGTERM);
        EXPECT_THAT(replyQueues(), SizeIs(1));
        EXPECT_EQ(0, ble_interface_close());
        sigprocmask(SIG_SETMASK, nullptr, &now);
        for (const int signal : endingSignals) {
            EXPECT_EQ(signal == SIGTERM ? 1 : 0, sigismember(&now, signal));
        }
        sigpending(&now);
        EXPECT_EQ(1, sigismember(&now, SIGTERM));
    });
    EXPECT_EQ(0, ended.status) << ended.out << ended.err;
}

TEST_F(ReplyQueueGuard, HandlerRemovesTheQueueAndRaisesItsSignalAgain) {
    const auto ended = inChild([] {
        EXPECT_EQ(0, ble_interface_open());
        for (const int signal : endingSignals) {
            struct sigaction action {};
            sigaction(signal, nullptr, &action);
            EXPECT_EQ(SA_RESETHAND, action.sa_flags & SA_RESETHAND);
            sigprocmask(SIG_BLOCK, &action.sa_mask, nullptr); // as it is while the handler runs
            action.sa_handler(signal);
            sigset_t pending;
            sigpending(&pending);
            EXPECT_EQ(1, sigismember(&pending, signal));
            EXPECT_THAT(replyQueues(), IsEmpty());
        }
    });
    EXPECT_EQ(0, ended.status) << ended.out << ended.err;
}

TEST_F(ReplyQueueGuard, SignalAfterTheCloseEndsTheProcessAndRemovesNothing) {
    for (const int signal : endingSignals) {
        const auto ended = inChild([signal] {
            EXPECT_EQ(0, ble_interface_open());
            EXPECT_EQ(0, ble_interface_close());
            makeQueue(QueuePeer::replyQueueName());
            raiseUnlessFailed(signal);
        });
        EXPECT_EQ(-signal, ended.status) << ended.out << ended.err;
        const auto left = replyQueues();
        EXPECT_THAT(left, SizeIs(1));
        std::for_each(left.begin(), left.end(), [](const std::string& name) { mq_unlink(name.c_str()); });
    }
}

TEST_F(ReplyQueueGuard, SignalAfterALinkThatDidNotOpenEndsTheProcess) {
    for (const bool reply : {false, true}) {
        const auto ended = inChild([reply] {
            faults::unopenableQueue = reply ? QueuePeer::replyQueueName() : "/to_zvnet";
            faults::arm();
            EXPECT_EQ(-1, ble_interface_open());
            faults::disarm();
            faults::freeUnfreed();
            EXPECT_THAT(replyQueues(), IsEmpty());
            raiseUnlessFailed(SIGTERM);
        });
        EXPECT_EQ(-SIGTERM, ended.status) << ended.out << ended.err;
    }
}

TEST_F(ReplyQueueGuard, LinkThatIsOpenedAgainIsGuardedAgain) {
    const auto ended = inChild([] {
        EXPECT_EQ(0, ble_interface_open());
        EXPECT_EQ(0, ble_interface_close());
        EXPECT_EQ(0, ble_interface_open());
        EXPECT_THAT(replyQueues(), SizeIs(1));
        raiseUnlessFailed(SIGTERM);
    });
    EXPECT_EQ(-SIGTERM, ended.status) << ended.out << ended.err;
    EXPECT_THAT(replyQueues(), IsEmpty());
}

TEST_F(ReplyQueueGuard, ChildRemovesNothing) {
    const auto ended = inChild([] {
        EXPECT_EQ(0, ble_interface_open());
        for (const int signal : endingSignals) {
            const pid_t child = fork();
            if (child == 0) {
                std::raise(signal);
                _exit(1);
            }
            EXPECT_EQ(-signal, statusOf(child));
            EXPECT_THAT(replyQueues(), SizeIs(1));
        }
        const pid_t child = fork();
        if (child == 0) {
            std::exit(4);
        }
        EXPECT_EQ(4, statusOf(child));
        EXPECT_THAT(replyQueues(), SizeIs(1));
        EXPECT_EQ(0, ble_interface_close());
    });
    EXPECT_EQ(0, ended.status) << ended.out << ended.err;
}

TEST_F(ReplyQueueGuard, StartedProgramHasTheDefaultActions) {
    const auto ended = inChild([] {
        EXPECT_EQ(0, ble_interface_open());
        EXPECT_EQ(SIGTERM, std::system("kill -TERM $$; exit 5"));
        EXPECT_THAT(replyQueues(), SizeIs(1));
        EXPECT_EQ(0, ble_interface_close());
    });
    EXPECT_EQ(0, ended.status) << ended.out << ended.err;
}

TEST_F(ReplyQueueGuard, ReleasingWhatIsNotGuardedIsNothing) {
    const auto ended = inChild([] {
        std::signal(SIGTERM, SIG_IGN);
        releaseReplyQueue();
        EXPECT_FALSE(hasDefaultAction(SIGTERM));
    });
    EXPECT_EQ(0, ended.status) << ended.out << ended.err;
}
