// Opening, creating, closing and removing mailboxes.
#include "zvMbox.h"

#include "mailboxPair.h"
#include "reports.h"

#include <algorithm>
#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace zvtest;
using testing::HasSubstr;

namespace {

mode_t modeOf(const char* name) {
    struct stat found {};
    EXPECT_EQ(0, stat((std::string("/dev/mqueue") + name).c_str(), &found));
    return found.st_mode & 07777;
}

} // namespace

TEST(ZvMbox, InitFillsTheHandleAndOpensNothing) {
    zvMbox_attr box;
    std::fill_n(reinterpret_cast<unsigned char*>(&box), sizeof box, static_cast<unsigned char>(0xAA));
    const char* const name = "/init";
    zvMbox_init(name, 7, &box);
    EXPECT_EQ(-1, box.mqd);
    EXPECT_EQ(0, box.attr.mq_flags);
    EXPECT_EQ(7, box.attr.mq_maxmsg);
    EXPECT_EQ(1500, box.attr.mq_msgsize);
    EXPECT_EQ(0, box.attr.mq_curmsgs);
    EXPECT_EQ(name, box.name);
    EXPECT_FALSE(exists("/dev/mqueue/init"));
}

TEST(ZvMbox, OpeningForReceivingCreatesTheQueue) {
    zvMbox_attr box;
    ASSERT_EQ(0, zvMbox_rxopen_ext("/rx", 3, 700, &box));
    EXPECT_EQ(3, attributesOf(box).mq_maxmsg);
    EXPECT_EQ(700, attributesOf(box).mq_msgsize);
    EXPECT_EQ(3, box.attr.mq_maxmsg);
    EXPECT_EQ(700, box.attr.mq_msgsize);
    EXPECT_STREQ("/rx", box.name);
    char byte = 'x';
    EXPECT_EQ(-1, mq_send(box.mqd, &byte, 1, 0)); // for receiving only
    EXPECT_EQ(0, zvMbox_close(&box));
}

TEST(ZvMbox, OpeningForReceivingTakes1500BytesUnlessToldOtherwise) {
    zvMbox_attr box;
    ASSERT_EQ(0, zvMbox_rxopen("/rx", 4, &box));
    EXPECT_EQ(4, attributesOf(box).mq_maxmsg);
    EXPECT_EQ(1500, attributesOf(box).mq_msgsize);
}

TEST(ZvMbox, ExistingQueueKeepsItsOwnAttributes) {
    zvMbox_attr first;
    zvMbox_attr second;
    ASSERT_EQ(0, zvMbox_rxopen_ext("/rx", 3, 700, &first));
    ASSERT_EQ(0, zvMbox_rxopen_ext("/rx", 9, 100, &second));
    EXPECT_EQ(3, attributesOf(second).mq_maxmsg);
    EXPECT_EQ(700, attributesOf(second).mq_msgsize);
    EXPECT_EQ(9, second.attr.mq_maxmsg); // what was asked for
}

TEST(ZvMbox, QueueHasMode0664AsTheUmaskLeavesIt) {
    zvMbox_attr box;
    umask(0);
    ASSERT_EQ(0, zvMbox_rxopen("/open", 2, &box));
    EXPECT_EQ(0664U, modeOf("/open"));
    umask(022);
    ASSERT_EQ(0, zvMbox_rxopen("/masked", 2, &box));
    EXPECT_EQ(0644U, modeOf("/masked"));
    umask(077);
    ASSERT_EQ(0, zvMbox_create("/private", 2));
    EXPECT_EQ(0600U, modeOf("/private"));
}

TEST(ZvMbox, OpeningForSendingNeverCreates) {
    zvMbox_attr box;
    g_debug_level = 0;
    errno = 0;
    EXPECT_EQ(-1, zvMbox_txopen("/none", &box));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_EQ(-1, box.mqd);
    EXPECT_EQ(40, box.attr.mq_maxmsg);
    EXPECT_EQ(1500, box.attr.mq_msgsize);
    EXPECT_FALSE(exists("/dev/mqueue/none"));
}

TEST(ZvMbox, OpeningForSendingIsForSendingOnly) {
    const Pair pair("/tx");
    char byte[1500];
    EXPECT_EQ(-1, mq_receive(pair.tx.mqd, byte, sizeof byte, nullptr));
    EXPECT_EQ(EBADF, errno);
}

TEST(ZvMbox, OpenFailuresAreReportedUnderEveryCombinationOfBits) {
    const std::string tx = "[   zvMbox_txopen:  76] mbox=/none errno=No such file or directory\n";
    const std::string rx = "[zvMbox_rxopen_ext:  58] mbox=noslash errno=Invalid argument\n";
    const std::string both = std::string("@").append(tx).append("@").append(rx);
    for (const std::uint32_t file : {0U, toFile}) {
        for (const std::uint32_t out : {0U, toStdout}) {
            const Reported all = reported(atMailbox | file | out, [] {
                zvMbox_attr box;
                EXPECT_EQ(-1, zvMbox_txopen("/none", &box));
                EXPECT_EQ(-1, zvMbox_rxopen("noslash", 2, &box));
            });
            EXPECT_EQ(0, all.ended.status);
            ASSERT_EQ((Texts{tx, rx}), texts(all));
            EXPECT_EQ(7, all.lines[0].priority);
            EXPECT_EQ(1, all.lines[0].facility);
            EXPECT_THAT(all.ended.err, HasSubstr(tx));
            EXPECT_THAT(all.ended.err, HasSubstr(rx));
            EXPECT_EQ(out != 0 ? both : "", withoutTimes(all.ended.out));
            EXPECT_EQ(file != 0 ? both : "(no file)", withoutTimes(all.file));
        }
    }
}

TEST(ZvMbox, OpenFailureIsReportedWholeHoweverLongTheName) {
    // Where prefix, name and error text together have 1022 to 1025 characters, and far beyond.
    for (const std::size_t length : {965U, 966U, 967U, 968U, 5000U}) {
        const std::string name = "/" + std::string(length, 'n');
        const std::string tx = "[   zvMbox_txopen:  76] mbox=" + name + " errno=File name too long\n";
        const Reported all = reported(atMailbox | toFile | toStdout, [&name] {
            zvMbox_attr box;
            EXPECT_EQ(-1, zvMbox_txopen(name.c_str(), &box));
            EXPECT_EQ(ENAMETOOLONG, errno);
            EXPECT_EQ(-1, zvMbox_txopen("/none", &box));
        });
        const std::string none = "[   zvMbox_txopen:  76] mbox=/none errno=No such file or directory\n";
        const std::string both = std::string("@").append(tx).append("@").append(none);
        EXPECT_EQ(0, all.ended.status);
        EXPECT_EQ((Texts{tx, none}), texts(all));
        EXPECT_THAT(all.ended.err, HasSubstr(tx));
        EXPECT_EQ(both, withoutTimes(all.ended.out));
        EXPECT_EQ(both, withoutTimes(all.file));
    }
}

TEST(ZvMbox, OpenFailuresAreSilentBelowVerbosity16) {
    const Reported all = reported(15 | toFile | toStdout, [] {
        zvMbox_attr box;
        EXPECT_EQ(-1, zvMbox_txopen("/none", &box));
        EXPECT_EQ(-1, zvMbox_rxopen("noslash", 2, &box));
    });
    EXPECT_EQ(0, all.ended.status);
    EXPECT_EQ(Texts{}, texts(all));
    EXPECT_EQ("", all.ended.out);
    EXPECT_EQ("", all.ended.err);
    EXPECT_EQ("(no file)", all.file);
}

TEST(ZvMbox, CreatingGives0EvenWhenItFails) {
    EXPECT_EQ(0, zvMbox_create_ext("/made", 3, 600));
    EXPECT_EQ(0, zvMbox_create("/plain", 4));
    zvMbox_attr box;
    ASSERT_EQ(0, zvMbox_txopen("/made", &box));
    EXPECT_EQ(3, attributesOf(box).mq_maxmsg);
    EXPECT_EQ(600, attributesOf(box).mq_msgsize);
    ASSERT_EQ(0, zvMbox_txopen("/plain", &box));
    EXPECT_EQ(4, attributesOf(box).mq_maxmsg);
    EXPECT_EQ(1500, attributesOf(box).mq_msgsize);
    const Reported all = reported(atMailbox, [] {
        EXPECT_EQ(0, zvMbox_create("noslash", 2));
        EXPECT_EQ(0, zvMbox_create_ext("/toolarge", 2, 1 << 30));
    });
    EXPECT_EQ(0, all.ended.status);
    EXPECT_EQ(2U, all.lines.size());
    EXPECT_FALSE(exists("/dev/mqueue/toolarge"));
}

TEST(ZvMbox, CreatingLeavesNoDescriptorOpen) {
    const int before = dup(0);
    close(before);
    zvMbox_create("/made", 3);
    const int after = dup(0);
    close(after);
    EXPECT_EQ(before, after);
}

TEST(ZvMbox, ClosingGivesWhatTheCloseGave) {
    Pair pair("/close");
    EXPECT_EQ(0, zvMbox_close(&pair.tx));
    EXPECT_EQ(-1, zvMbox_close(&pair.tx));
    zvMbox_attr box;
    zvMbox_init("/never", 2, &box);
    EXPECT_EQ(-1, zvMbox_close(&box));
}

TEST(ZvMbox, UnlinkingAlwaysGives0) {
    EXPECT_EQ(0, zvMbox_create("/gone", 2));
    EXPECT_EQ(0, zvMbox_unlink("/gone"));
    EXPECT_FALSE(exists("/dev/mqueue/gone"));
    EXPECT_EQ(0, zvMbox_unlink("/gone"));
    EXPECT_EQ(0, zvMbox_unlink("noslash"));
}
