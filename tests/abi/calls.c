/*
 * Calls every exported function and reads every exported global through the public headers, as C. Ends with status 0
 * when every check holds.
 */
#define _GNU_SOURCE
#include "zvErrno.h"
#include "zvHexdump.h"
#include "zvLog.h"
#include "zvMbox.h"
#include "zvModel.h"
#include "zvMsg.h"
#include "zvTlv.h"
#include "zvUtil.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

static int failures = 0;

#define CHECK(condition)                                                                                               \
    do {                                                                                                               \
        if (!(condition)) {                                                                                            \
            fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition);                                            \
            ++failures;                                                                                                \
        }                                                                                                              \
    } while (0)

_Static_assert(sizeof g_logLevel == 4 && sizeof g_timedreceive == 4, "signed words");
_Static_assert(sizeof g_debug == 4 && sizeof g_debug_level == 4, "unsigned words");
_Static_assert(sizeof s_dmsghex == 112, "a class for every direction");
_Static_assert(sizeof s_dmsgstr == 28 * sizeof(char*), "a marker for every direction");
_Static_assert(sizeof zvErrnoStrMap / sizeof zvErrnoStrMap[0] == 22, "a row for every code");

static void logging(void) {
    CHECK(g_logLevel == UTIL_LOG_ERROR && g_debug_level == 0x00281420U);
    CHECK(g_debug == 0x30000000U && g_timedreceive == 10);
    zvUtilSetLogLevel(UTIL_LOG_TRACE);
    CHECK(g_logLevel == 6);
    ZV_LOG_AT(UTIL_LOG_INFO, __LINE__, "calls", "%s\n", "text");
    zvUtilKlogMsgLevel(UTIL_LOG_ERROR, __LINE__, "calls", "%d\n", 1);
    CHECK(strcmp(zvErrno2Str(ZV_ERR_NAK), "ZV_ERR_NAK") == 0);
    CHECK(strcmp(zvErrnoStrMap[21].name, "ZV_ERR_DOWNLOAD_FAILED") == 0 && zvErrnoStrMap[21].code == -100);
    CHECK(strcmp(get_model_name(21), "calder_vale") == 0);
}

static void tlv(void) {
    uint8_t message[64];
    uint8_t data[8];
    char text[8];
    CHECK(sntlv_msg_init(message, 60, 9) == 4);
    CHECK(sntlv_add_bin(message, 60, ZVTLV_CODE, 2, "ab") == 6);
    CHECK(sntlv_add_dat(message, 60, ZVTLV_TAIL, 0) == 4);
    CHECK(sntlv_msg_len(message) == 14 && tlv_validate(message) == 0);
    CHECK(tlv_find(message, ZVTLV_CODE) == message + 4);
    CHECK(sntlv_find(data, sizeof data, ZVTLV_CODE, message) == 2 && memcmp(data, "ab", 2) == 0);
    sntlv_void(message, ZVTLV_CODE);
    CHECK(message[4] == 'W');
    CHECK(sntlv_remove(message, 60, ZVTLV_TAIL) == -4);
    CHECK(snLoclItoI(text, sizeof text, 2, 0x1234) == 2 && text[0] == 0x12 && text[1] == 0x34);
    CHECK(snLoclbin(data, sizeof data, 3, "xyz") == 3 && memcmp(data, "xyz", 3) == 0);
}

static void mailboxes(void) {
    zvMbox_attr rx;
    zvMbox_attr tx;
    char text[ZVMSG_MAX];
    zvMbox_init("/calls", 2, &tx);
    CHECK(tx.mqd == -1 && tx.attr.mq_maxmsg == 2 && strcmp(tx.name, "/calls") == 0);
    CHECK(zvMbox_create("/calls", 2) == 0 && zvMbox_create_ext("/calls", 2, 100) == 0);
    CHECK(zvMbox_rxopen_ext("/calls", 2, 100, &rx) == 0 && zvMbox_close(&rx) == 0);
    CHECK(zvMbox_rxopen("/calls", 2, &rx) == 0 && zvMbox_txopen("/calls", &tx) == 0);
    CHECK(zvMbox_send("one", 3, &tx) == 0 && zvMbox_send("four", 4, &tx) == 0);
    CHECK(snzvMbox_receive(text, sizeof text, &rx) == 3);
    CHECK(snzvMbox_timedreceive(text, sizeof text, &rx) == 4 && memcmp(text, "four", 4) == 0);
    CHECK(zvMbox_close(&rx) == 0 && zvMbox_close(&tx) == 0 && zvMbox_unlink("/calls") == 0);
}

static void messages(void) {
    _Alignas(zvmsg_holder) unsigned char storage[ZVMSG_HOLDER_SIZE(ZVMSG_MAX)];
    zvmsg_holder* const holder = (zvmsg_holder*)storage;
    zvMbox_attr rx;
    uint8_t* data = NULL;
    uint16_t length = 0;
    holder->capacity = ZVMSG_MAX;
    CHECK(zvMbox_rxopen("/calls", 2, &rx) == 0);
    CHECK(zvmsg_build(holder, "ab", "x", 1, 1) == 15 && holder->length == 15);
    CHECK(zvmsg_send(holder, "/answer", "/calls", NULL, 25) == 0);
    CHECK(holder->length == 40);
    zvmsg_build(holder, "ab", "x", 1, 1);
    g_timedreceive = 0;
    CHECK(zvmsg_send_timedreceive(holder, "/answer", "/to", "/calls", 25) == -1 && holder->length == -1);
    CHECK(zvmsg_response(holder, &data, &length) == NULL);
    CHECK(zvMbox_close(&rx) == 0 && zvMbox_unlink("/calls") == 0);
}

static void dumps(void) {
    char text[256];
    char line[ZVMSG_TRACE_LINE_SIZE];
    uint32_t address = 0;
    int index = 0;
    CHECK(snhexdump0(text, sizeof text, "A", 1, "> ") == 81 && strncmp(text, "> 00000000  41 ", 15) == 0);
    CHECK(snhexdump(text, sizeof text, "A", 1, "") == 79);
    CHECK(_snhexdump(text, sizeof text, "A", 1, 0, "") == 79);
    hexline(line, sizeof line, s_dmsgstr[25], &address, &index, "A", 1);
    CHECK(strncmp(line, "DB>         00000000  41 ", 25) == 0 && address == 16 && index == 16);
    CHECK(s_dmsghex[26] == 0x20000000U);
    g_debug_level = 0;
    hexprint(s_dmsgstr[26], 0, "A", 1);
}

static void utilities(void) {
    char blank[] = " a";
    char id[ZV_CARD_ID_SIZE];
    int status = 1;
    CHECK(trim(blank) == blank + 1);
    CHECK(mkdir("/tmp/fuse_d", 0777) == 0 && getCardIDStr(id) == 0 && strlen(id) > 0);
    const pid_t child = fork();
    if (child == 0) {
        daemon_init();
        _exit(3); /* the process in the background: nobody waits for it */
    }
    CHECK(waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

int main(void) {
    logging();
    tlv();
    mailboxes();
    messages();
    dumps();
    utilities();
    return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
