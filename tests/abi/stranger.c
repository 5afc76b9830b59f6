/*
 * Stands for a closed library on the camera: it is built without the support library's headers and without the program,
 * and knows only names. Loaded beside the program, it runs before the program's main, in one of three roles:
 *
 *   ZV_STRANGER=ask      exchanges a message with the process behind "/peer", and reports to /tmp/stranger.txt
 *   ZV_STRANGER=answer   is that process for one message, and reports to /tmp/answerer.txt
 *   ZV_STRANGER=show     reports what every exported object holds, to /tmp/shown.txt
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <mqueue.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

extern int32_t g_logLevel;
extern uint32_t g_debug_level;
extern uint32_t g_debug;
extern int32_t g_timedreceive;
extern const char* const s_dmsgstr[];
extern const uint32_t s_dmsghex[];
extern const struct {
    const char* name;
    int32_t code;
} zvErrnoStrMap[];

void zvUtilSetLogLevel(unsigned level);
void zvUtilKlogMsgLevel(int level, int line, const char* file, const char* fmt, ...);
const char* zvErrno2Str(int code);
const char* get_model_name(int model_number);
int zvmsg_build(void* holder, const void* code, const void* payload, uint32_t payload_length, uint8_t type);
int zvmsg_send_timedreceive(void* holder, const char* from, const char* to, const char* via, int direction);
int zvmsg_send(void* holder, const char* from, const char* to, const char* via, int direction);
int sntlv_add_bin(uint8_t* buffer, uint32_t capacity, uint8_t tag, uint32_t length, const void* data);
int sntlv_find(void* destination, uint32_t destination_size, uint8_t tag, uint8_t* buffer);
int tlv_validate(uint8_t* buffer);
int zvMbox_rxopen(const char* name, int max_messages, void* mailbox);
int zvMbox_close(void* mailbox);
int snzvMbox_timedreceive(void* buffer, uint32_t size, void* mailbox);
void* zvmsg_response(void* holder, uint8_t** data, uint16_t* length);

/* The holder, by its layout alone: capacity, current length, the message. */
struct Message {
    uint32_t capacity;
    int32_t length;
    uint8_t bytes[1504];
};

/* The mailbox handle, by its layout alone: descriptor, attributes, name. */
struct Mailbox {
    mqd_t descriptor;
    struct mq_attr attributes;
    const char* name;
};

/* The base name of the file that an address was loaded from. */
static const char* owner(const void* address) {
    Dl_info info;
    if (dladdr(address, &info) == 0 || info.dli_fname == NULL) {
        return "nobody";
    }
    const char* const slash = strrchr(info.dli_fname, '/');
    return slash != NULL ? slash + 1 : info.dli_fname;
}

static void exchange(FILE* report) {
    struct Message message = {.capacity = 1500};
    zvmsg_build(&message, "AB", "ping", 4, 1);
    const int result = zvmsg_send_timedreceive(&message, "/stranger", "/peer", NULL, 25);
    uint8_t* data = NULL;
    uint16_t length = 0;
    if (zvmsg_response(&message, &data, &length) == NULL) {
        fprintf(report, "exchange %d none\n", result);
        return;
    }
    fprintf(report, "exchange %d %.*s\n", result, (int)length, (const char*)data);
}

static void answer(FILE* report) {
    struct Mailbox inbox;
    struct Message message = {.capacity = 1500};
    char code[8] = "";
    char payload[64] = "";
    char from[64] = "";
    const int opened = zvMbox_rxopen("/peer", 4, &inbox);
    g_timedreceive = 20;
    message.length = snzvMbox_timedreceive(message.bytes, message.capacity, &inbox);
    const int valid = message.length > 0 ? tlv_validate(message.bytes) : -9;
    fprintf(report, "request %d %d %d\n", opened, (int)message.length, valid);
    if (valid == 0) {
        sntlv_find(code, sizeof code, 65, message.bytes);
        sntlv_find(payload, sizeof payload, 66, message.bytes);
        sntlv_find(from, sizeof from, 68, message.bytes);
        fprintf(report, "type %d %s %s %s\n", message.bytes[3], code, payload, from);
        zvmsg_build(&message, code, NULL, 0, 2);
        message.length += sntlv_add_bin(message.bytes, message.capacity, 69, 4, "pong");
        const int result = zvmsg_send(&message, "/peer", from, NULL, 26);
        fprintf(report, "answer %d %d\n", result, (int)message.length);
    }
    fprintf(report, "close %d\n", zvMbox_close(&inbox));
}

static void ask(FILE* report) {
    fprintf(report, "owners %s %s %s %s\n", owner(dlsym(RTLD_DEFAULT, "zvmsg_send_timedreceive")),
            owner(dlsym(RTLD_DEFAULT, "zvUtilKlogMsgLevel")), owner(&g_logLevel), owner(s_dmsgstr));
    fprintf(report, "words %d 0x%08x 0x%08x %d\n", g_logLevel, g_debug_level, g_debug, g_timedreceive);
    fprintf(report, "tables %s%08x %s %s\n", s_dmsgstr[25], s_dmsghex[25], zvErrno2Str(-17), get_model_name(13));
    zvUtilSetLogLevel(3);
    fprintf(report, "level %d\n", g_logLevel);
    if (g_logLevel > 2) {
        zvUtilKlogMsgLevel(3, 77, "stranger", "hello %s\n", "camera");
    }
    /* These words steer the program's own copy: how long it waits, and that it traces what is sent. */
    g_timedreceive = 5;
    g_debug_level |= 0x100;
    exchange(report);
    g_timedreceive = 0;
    exchange(report);
}

static void show(FILE* report) {
    fprintf(report, "%d 0x%08x 0x%08x %d\n", g_logLevel, g_debug_level, g_debug, g_timedreceive);
    for (int row = 0; row < 28; ++row) {
        fprintf(report, "|%s| 0x%08x\n", s_dmsgstr[row], s_dmsghex[row]);
    }
    for (int row = 0; row < 22; ++row) {
        fprintf(report, "%s %d\n", zvErrnoStrMap[row].name, zvErrnoStrMap[row].code);
    }
}

/* What the library does beside the program, and where it reports. */
struct Role {
    const char* name;
    const char* path;
    void (*play)(FILE*);
};
static const struct Role roles[] = {
    {"ask", "/tmp/stranger.txt", ask},
    {"answer", "/tmp/answerer.txt", answer},
    {"show", "/tmp/shown.txt", show},
};

__attribute__((constructor)) static void loaded(void) {
    const char* const wanted = getenv("ZV_STRANGER");
    for (size_t i = 0; i < sizeof roles / sizeof roles[0]; ++i) {
        if (wanted == NULL || strcmp(wanted, roles[i].name) != 0) {
            continue;
        }
        FILE* const report = fopen(roles[i].path, "w");
        if (report != NULL) {
            roles[i].play(report);
            fclose(report);
        }
    }
}
