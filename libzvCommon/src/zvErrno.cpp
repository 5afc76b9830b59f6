#include "zvErrno.h"

#define ROW(code)                                                                                                      \
    { #code, code }

constexpr zvErrnoStr zvErrnoStrMap[ZV_ERRNO_ROWS] = {
    ROW(ZV_OK),
    ROW(ZV_ERR),
    ROW(ZV_ERR_OUTOFMEM),
    ROW(ZV_ERR_INVALID_PARAM),
    ROW(ZV_ERR_INCOMPLETE_CGI_PARAM),
    ROW(ZV_ERR_MQ_FAIL),
    ROW(ZV_ERR_NO_SDCARD),
    ROW(ZV_ERR_SDCARD_FULL),
    ROW(ZV_ERR_CREATING_MISC_DIR),
    ROW(ZV_ERR_UPLOADED_FILE),
    ROW(ZV_ERR_FILE_OPEN),
    ROW(ZV_ERR_FILE_READ),
    ROW(ZV_ERR_FILE_WRITE),
    ROW(ZV_ERR_REMOTE_FILE_OPEN),
    ROW(ZV_ERR_REMOTE_FILE_READ),
    ROW(ZV_ERR_REMOTE_FILE_WRITE),
    ROW(ZV_ERR_ACCESS_DENIED),
    ROW(ZV_ERR_NAK),
    ROW(ZV_ERR_RESPONSE_ALREADY_SENT),
    ROW(ZV_ERR_NAK_OFF),
    ROW(ZV_ERR_NOT_SUPPORTED),
    ROW(ZV_ERR_DOWNLOAD_FAILED),
};

// A missing row would leave the last one empty.
static_assert(zvErrnoStrMap[ZV_ERRNO_ROWS - 1].code == ZV_ERR_DOWNLOAD_FAILED);

const char* zvErrno2Str(int code) {
    for (const zvErrnoStr& row : zvErrnoStrMap) {
        if (row.code == code) {
            return row.name;
        }
    }
    return "UNKNOWN";
}
