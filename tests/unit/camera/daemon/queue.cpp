#include "queue.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <system_error>

namespace zvcam {
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
        ASSERT_NE(other, static_cast<mqd_t>(-1));
        mq_attr attributes{};
        mq_getattr(other, &attributes);
        EXPECT_EQ(attributes.mq_maxmsg, 10);
        EXPECT_EQ(attributes.mq_msgsize, 2048);
        struct stat status {};
        fstat(other, &status);
        EXPECT_EQ(status.st_mode & 0777, 0664U);
        mq_close(other);
    }
    umask(mask);
    EXPECT_EQ(mq_open("/test", O_RDWR), static_cast<mqd_t>(-1));
}

TEST(Queue, TakesTheNameOverFromAProcessThatWasKilled) {
    mq_attr attributes{};
    attributes.mq_maxmsg = 1;
    attributes.mq_msgsize = 8;
    mq_close(mq_open("/test", O_RDWR | O_CREAT, 0600, &attributes));
    OwnedQueue queue("/test");
    EXPECT_EQ(sendWithoutWaiting("/test", Bytes(2048, 1)), SendResult::Sent);
    EXPECT_EQ(queue.receive(), Bytes(2048, 1));
}

TEST(Queue, ReceivesInOrderWithoutWaiting) {
    OwnedQueue queue("/test");
    EXPECT_EQ(queue.receive(), std::nullopt);
    EXPECT_EQ(sendWithoutWaiting("/test", Bytes{1}), SendResult::Sent);
    EXPECT_EQ(sendWithoutWaiting("/test", Bytes{}), SendResult::Sent);
    pollfd readable{queue.fd(), POLLIN, 0};
    EXPECT_EQ(poll(&readable, 1, 1000), 1);
    EXPECT_EQ(queue.receive(), Bytes{1});
    EXPECT_EQ(queue.receive(), Bytes{});
    EXPECT_EQ(queue.receive(), std::nullopt);
}

TEST(Queue, SendingNeverWaitsAndSaysWhyNot) {
    const OwnedQueue queue("/test", 1, 8);
    EXPECT_EQ(sendWithoutWaiting("/absent", Bytes{1}), SendResult::Absent);
    EXPECT_EQ(sendWithoutWaiting("/test", Bytes(9)), SendResult::Refused);
    EXPECT_EQ(sendWithoutWaiting("/test", Bytes{1}), SendResult::Sent);
    EXPECT_EQ(sendWithoutWaiting("/test", Bytes{1}), SendResult::Full);
}

TEST(Queue, ThatCannotBeMadeIsAnError) {
    EXPECT_THROW(OwnedQueue("noslash"), std::system_error);
}

} // namespace
} // namespace zvcam
