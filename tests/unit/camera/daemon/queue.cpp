#include "queue.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <system_error>

namespace zvcamera {
namespace {

TEST(Queue, ANameHasOneSlashAtItsStart) {
    EXPECT_TRUE(validQueueName("/to_ZVCC12"));
    EXPECT_TRUE(validQueueName("/" + std::string(254, 'n')));
    EXPECT_FALSE(validQueueName("/" + std::string(255, 'n')));
    for (const std::string name : {"", "/", "to_ble", "/a/b", "//a", "/..", "/.", "a/", "/a b", "/a\n", "/\xff"}) {
        EXPECT_FALSE(validQueueName(name)) << name;
    }
    EXPECT_FALSE(validQueueName(std::string_view("/a\0b", 4)));
}

TEST(Queue, IsMadeWithItsSizesOpenToTheGroupAndRemovedAtTheEnd) {
    const mode_t mask = umask(077);
    {
        const OwnedQueue queue("/test");
        const mqd_t other = mq_open("/test", O_RDWR);
        ASSERT_NE(static_cast<mqd_t>(-1), other);
        mq_attr attributes{};
        mq_getattr(other, &attributes);
        EXPECT_EQ(10, attributes.mq_maxmsg);
        EXPECT_EQ(2048, attributes.mq_msgsize);
        struct stat status {};
        fstat(other, &status);
        EXPECT_EQ(0664U, status.st_mode & 0777);
        mq_close(other);
    }
    umask(mask);
    EXPECT_EQ(static_cast<mqd_t>(-1), mq_open("/test", O_RDWR));
}

TEST(Queue, TakesTheNameOverFromAProcessThatWasKilled) {
    mq_attr attributes{};
    attributes.mq_maxmsg = 1;
    attributes.mq_msgsize = 8;
    mq_close(mq_open("/test", O_RDWR | O_CREAT, 0600, &attributes));
    OwnedQueue queue("/test");
    EXPECT_EQ(SendResult::Sent, sendWithoutWaiting("/test", Bytes(2048, 1)));
    EXPECT_EQ(Bytes(2048, 1), queue.receive());
}

TEST(Queue, ReceivesInOrderWithoutWaiting) {
    OwnedQueue queue("/test");
    EXPECT_EQ(std::nullopt, queue.receive());
    EXPECT_EQ(SendResult::Sent, sendWithoutWaiting("/test", Bytes{1}));
    EXPECT_EQ(SendResult::Sent, sendWithoutWaiting("/test", Bytes{}));
    pollfd readable{queue.fd(), POLLIN, 0};
    EXPECT_EQ(1, poll(&readable, 1, 1000));
    EXPECT_EQ(Bytes{1}, queue.receive());
    EXPECT_EQ(Bytes{}, queue.receive());
    EXPECT_EQ(std::nullopt, queue.receive());
}

TEST(Queue, SendingNeverWaitsAndSaysWhyNot) {
    const OwnedQueue queue("/test", 1, 8);
    EXPECT_EQ(SendResult::Absent, sendWithoutWaiting("/absent", Bytes{1}));
    EXPECT_EQ(SendResult::Refused, sendWithoutWaiting("/test", Bytes(9)));
    EXPECT_EQ(SendResult::Sent, sendWithoutWaiting("/test", Bytes{1}));
    EXPECT_EQ(SendResult::Full, sendWithoutWaiting("/test", Bytes{1}));
}

TEST(Queue, ThatCannotBeMadeIsAnError) {
    EXPECT_THROW(OwnedQueue("noslash"), std::system_error);
}

} // namespace
} // namespace zvcamera
