#include "zvMbox.h"

#include "zvLog.h"
#include "zvReport.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/time.h>

namespace {

constexpr const char* modulePath = "libzvCommon/src/zvMbox";
constexpr mode_t mailboxMode = 0664; // as the umask leaves it
constexpr unsigned priority = 0;
constexpr int timedOut = -1;
constexpr int receiveFailed = -2;

// Fixed: readers of the reports find the failed check by its line.
constexpr int receiveOpenLine = 58;
constexpr int sendOpenLine = 76;
constexpr int oversizedLine = 110;
constexpr int fullReportLine = 114;
constexpr int fullLine = 116;
constexpr int receiveLine = 124;

void fill(const char* name, int maxMessages, int messageSize, zvMbox_attr* zvattr) {
    *zvattr = {};
    zvattr->mqd = -1;
    zvattr->attr.mq_maxmsg = maxMessages;
    zvattr->attr.mq_msgsize = messageSize;
    zvattr->name = name;
}

int reportOpenFailure(const char* function, int line, const char* name) {
    const int error = errno;
    if (zv::verbosity() >= zv::mailboxVerbosity) {
        zv::report("[%16s:%4d] mbox=%s errno=%s\n", function, line, name, std::strerror(error));
    }
    errno = error;
    return -1;
}

bool hasRoom(const zvMbox_attr* zvattr) {
    return zvattr->attr.mq_curmsgs < zvattr->attr.mq_maxmsg;
}

} // namespace

void zvMbox_init(const char* name, int maxMessages, zvMbox_attr* zvattr) {
    fill(name, maxMessages, ZVMSG_MAX, zvattr);
}

int zvMbox_rxopen_ext(const char* name, int maxMessages, int messageSize, zvMbox_attr* zvattr) {
    fill(name, maxMessages, messageSize, zvattr);
    zvattr->mqd = mq_open(name, O_RDONLY | O_CREAT, mailboxMode, &zvattr->attr);
    return zvattr->mqd == -1 ? reportOpenFailure("zvMbox_rxopen_ext", receiveOpenLine, name) : 0;
}

int zvMbox_rxopen(const char* name, int maxMessages, zvMbox_attr* zvattr) {
    return zvMbox_rxopen_ext(name, maxMessages, ZVMSG_MAX, zvattr);
}

int zvMbox_txopen(const char* name, zvMbox_attr* zvattr) {
    zvMbox_init(name, ZVMSG_MAX_COUNT, zvattr);
    zvattr->mqd = mq_open(name, O_WRONLY);
    return zvattr->mqd == -1 ? reportOpenFailure("zvMbox_txopen", sendOpenLine, name) : 0;
}

int zvMbox_create_ext(const char* name, int maxMessages, int messageSize) {
    zvMbox_attr temporary;
    if (zvMbox_rxopen_ext(name, maxMessages, messageSize, &temporary) == 0) {
        zvMbox_close(&temporary);
    }
    return 0;
}

int zvMbox_create(const char* name, int maxMessages) {
    return zvMbox_create_ext(name, maxMessages, ZVMSG_MAX);
}

int zvMbox_close(zvMbox_attr* zvattr) {
    return mq_close(zvattr->mqd);
}

int zvMbox_unlink(const char* name) {
    mq_unlink(name);
    return 0;
}

int zvMbox_send(const void* message, int length, zvMbox_attr* zvattr) {
    if (length > ZVMSG_MAX) {
        zv::assertFailed(modulePath, "zvMbox_send", oversizedLine, "len <= ZVMSG_MAX");
    }
    mq_getattr(zvattr->mqd, &zvattr->attr);
    if (!hasRoom(zvattr)) {
        if (zv::verbosity() >= zv::mailboxVerbosity) {
            zv::report("[%16s:%4d] Mailbox Full: mbox=%s >= %ld messages\n", "zvMbox_send", fullReportLine,
                       zvattr->name, zvattr->attr.mq_maxmsg);
        }
        // Fixed: a full mailbox ends the sender; callers rely on a send that neither waits nor drops.
        zv::assertFailed(modulePath, "zvMbox_send", fullLine, "(zvattr->attr.mq_curmsgs) < zvattr->attr.mq_maxmsg");
    }
    return mq_send(zvattr->mqd, static_cast<const char*>(message), static_cast<std::size_t>(length), priority);
}

int snzvMbox_receive(void* buffer, std::uint32_t size, zvMbox_attr* zvattr) {
    const ssize_t length = mq_receive(zvattr->mqd, static_cast<char*>(buffer), size, nullptr);
    if (length < 0) {
        zv::assertFailed(modulePath, "snzvMbox_receive", receiveLine,
                         "(len = mq_receive(zvattr->mqd, buf, size, NULL)) >= 0");
    }
    return static_cast<int>(length);
}

int snzvMbox_timedreceive(void* buffer, std::uint32_t size, zvMbox_attr* zvattr) {
    timeval now{};
    gettimeofday(&now, nullptr);
    timespec deadline{};
    deadline.tv_sec = now.tv_sec + g_timedreceive;
    deadline.tv_nsec = static_cast<long>(now.tv_usec) * 1000;
    const ssize_t length = mq_timedreceive(zvattr->mqd, static_cast<char*>(buffer), size, nullptr, &deadline);
    if (length < 0) {
        return errno == ETIMEDOUT ? timedOut : receiveFailed;
    }
    return static_cast<int>(length);
}
