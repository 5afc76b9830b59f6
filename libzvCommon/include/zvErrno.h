/*
 * Result codes of the whole system. Every operation that can fail returns a signed 32-bit result: 0 for success, one of
 * these negative codes otherwise.
 */
#ifndef ZV_ERRNO_H
#define ZV_ERRNO_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define ZV_OK 0
#define ZV_ERR (-1)
#define ZV_ERR_OUTOFMEM (-2)
#define ZV_ERR_INVALID_PARAM (-3)
#define ZV_ERR_INCOMPLETE_CGI_PARAM (-4)
#define ZV_ERR_MQ_FAIL (-5)
#define ZV_ERR_NO_SDCARD (-6)
#define ZV_ERR_SDCARD_FULL (-7)
#define ZV_ERR_CREATING_MISC_DIR (-8)
#define ZV_ERR_UPLOADED_FILE (-9)
#define ZV_ERR_FILE_OPEN (-10)
#define ZV_ERR_FILE_READ (-11)
#define ZV_ERR_FILE_WRITE (-12)
#define ZV_ERR_REMOTE_FILE_OPEN (-13)
#define ZV_ERR_REMOTE_FILE_READ (-14)
#define ZV_ERR_REMOTE_FILE_WRITE (-15)
#define ZV_ERR_ACCESS_DENIED (-16)
#define ZV_ERR_NAK (-17)
#define ZV_ERR_RESPONSE_ALREADY_SENT (-18)
#define ZV_ERR_NAK_OFF (-19)
#define ZV_ERR_NOT_SUPPORTED (-20)
/* Fixed: not -21; clients bind to the number. */
#define ZV_ERR_DOWNLOAD_FAILED (-100)

#define ZV_ERRNO_ROWS 22

/* One row of the table: the name of a code as text, and the code. */
typedef struct zvErrnoStr {
    const char* name;
    int32_t code;
} zvErrnoStr;

/* All codes in the order above, without a terminating row. */
extern const zvErrnoStr zvErrnoStrMap[ZV_ERRNO_ROWS];

/* The name of a code, "UNKNOWN" for any other number. Never null; static, not to be freed. Logs nothing. */
const char* zvErrno2Str(int code);

#ifdef __cplusplus
}
#endif

#endif
