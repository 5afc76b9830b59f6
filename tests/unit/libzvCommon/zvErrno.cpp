#include "zvErrno.h"

#include <gtest/gtest.h>

TEST(zvErrno, NamesKnownCodes) {
    EXPECT_STREQ("ZV_OK", zvErrno2Str(0));
    EXPECT_STREQ("ZV_ERR_RESPONSE_ALREADY_SENT", zvErrno2Str(-18));
    EXPECT_STREQ("ZV_ERR_DOWNLOAD_FAILED", zvErrno2Str(-100));
}

TEST(zvErrno, CallsOthersUnknown) {
    EXPECT_STREQ("UNKNOWN", zvErrno2Str(-21));
    EXPECT_STREQ("UNKNOWN", zvErrno2Str(1));
}

TEST(zvErrno, TableKeepsOrderAndValues) {
    struct {
        const char* name;
        int code;
    } const rows[] = {
        {"ZV_OK", 0},
        {"ZV_ERR", -1},
        {"ZV_ERR_OUTOFMEM", -2},
        {"ZV_ERR_INVALID_PARAM", -3},
        {"ZV_ERR_INCOMPLETE_CGI_PARAM", -4},
        {"ZV_ERR_MQ_FAIL", -5},
        {"ZV_ERR_NO_SDCARD", -6},
        {"ZV_ERR_SDCARD_FULL", -7},
        {"ZV_ERR_CREATING_MISC_DIR", -8},
        {"ZV_ERR_UPLOADED_FILE", -9},
        {"ZV_ERR_FILE_OPEN", -10},
        {"ZV_ERR_FILE_READ", -11},
        {"ZV_ERR_FILE_WRITE", -12},
        {"ZV_ERR_REMOTE_FILE_OPEN", -13},
        {"ZV_ERR_REMOTE_FILE_READ", -14},
        {"ZV_ERR_REMOTE_FILE_WRITE", -15},
        {"ZV_ERR_ACCESS_DENIED", -16},
        {"ZV_ERR_NAK", -17},
        {"ZV_ERR_RESPONSE_ALREADY_SENT", -18},
        {"ZV_ERR_NAK_OFF", -19},
        {"ZV_ERR_NOT_SUPPORTED", -20},
        {"ZV_ERR_DOWNLOAD_FAILED", -100},
    };
    ASSERT_EQ(22U, sizeof rows / sizeof rows[0]);
    ASSERT_EQ(sizeof rows / sizeof rows[0], sizeof zvErrnoStrMap / sizeof zvErrnoStrMap[0]);
    for (std::size_t i = 0; i < 22; ++i) {
        EXPECT_STREQ(rows[i].name, zvErrnoStrMap[i].name);
        EXPECT_EQ(rows[i].code, zvErrnoStrMap[i].code);
    }
}
