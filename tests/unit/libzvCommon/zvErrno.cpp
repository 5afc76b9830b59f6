#include "zvErrno.h"

#include <climits>
#include <cstddef>
#include <gtest/gtest.h>
#include <string>

namespace {

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
constexpr std::size_t count = sizeof rows / sizeof rows[0];
static_assert(count == 22);

} // namespace

TEST(ZvErrno, TableKeepsOrderAndValues) {
    ASSERT_EQ(count, sizeof zvErrnoStrMap / sizeof zvErrnoStrMap[0]);
    for (std::size_t i = 0; i < count; ++i) {
        EXPECT_STREQ(rows[i].name, zvErrnoStrMap[i].name);
        EXPECT_EQ(rows[i].code, zvErrnoStrMap[i].code);
    }
}

TEST(ZvErrno, EveryCodeHasItsName) {
    for (const auto& row : rows) {
        EXPECT_STREQ(row.name, zvErrno2Str(row.code));
    }
    EXPECT_STREQ("ZV_ERR_RESPONSE_ALREADY_SENT", zvErrno2Str(-18));
    EXPECT_STREQ("ZV_ERR_DOWNLOAD_FAILED", zvErrno2Str(-100));
}

TEST(ZvErrno, AllOtherCodesAreUnknown) {
    for (int code = -200; code <= 200; ++code) {
        if (code > 0 || (code < -20 && code != -100)) {
            EXPECT_STREQ("UNKNOWN", zvErrno2Str(code)) << code;
        }
    }
    EXPECT_STREQ("UNKNOWN", zvErrno2Str(INT_MIN));
    EXPECT_STREQ("UNKNOWN", zvErrno2Str(INT_MAX));
}

TEST(ZvErrno, ConstantsHaveTheirCodes) {
    const int constants[] = {
        ZV_OK,
        ZV_ERR,
        ZV_ERR_OUTOFMEM,
        ZV_ERR_INVALID_PARAM,
        ZV_ERR_INCOMPLETE_CGI_PARAM,
        ZV_ERR_MQ_FAIL,
        ZV_ERR_NO_SDCARD,
        ZV_ERR_SDCARD_FULL,
        ZV_ERR_CREATING_MISC_DIR,
        ZV_ERR_UPLOADED_FILE,
        ZV_ERR_FILE_OPEN,
        ZV_ERR_FILE_READ,
        ZV_ERR_FILE_WRITE,
        ZV_ERR_REMOTE_FILE_OPEN,
        ZV_ERR_REMOTE_FILE_READ,
        ZV_ERR_REMOTE_FILE_WRITE,
        ZV_ERR_ACCESS_DENIED,
        ZV_ERR_NAK,
        ZV_ERR_RESPONSE_ALREADY_SENT,
        ZV_ERR_NAK_OFF,
        ZV_ERR_NOT_SUPPORTED,
        ZV_ERR_DOWNLOAD_FAILED,
    };
    for (std::size_t i = 0; i < count; ++i) {
        EXPECT_EQ(rows[i].code, constants[i]);
    }
}
