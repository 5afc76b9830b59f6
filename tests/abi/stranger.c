/*
 * Stands for a closed library on the camera: it was built without the support library's headers and without the program,
 * and knows only names. Loaded beside the program, it exchanges a message with a peer process before the program's main,
 * and writes what it found to /tmp/stranger.txt.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

extern int32_t g_logLevel;
extern uint32_t g_debug_level;
extern uint32_t g_debug;
extern int32_t g_timedreceive;
extern const char* const s_dmsgstr[];
extern const uint32_t s_dmsghex[];

void zvUtilSetLogLevel(unsigned level);
void zvUtilKlogMsgLevel(int level, int line, const char* file, const char* fmt, ...);
const char* zvErrno2Str(int code);
const char* get_model_name(int model_number);
int zvmsg_build(void* holder, const void* code, const void* payload, uint32_t payload_length, uint8_t type);
int zvmsg_send_timedreceive(void* holder, const char* from, const char* to, const char* via, int direction);
void* zvmsg_response(void* holder, uint8_t** data, uint16_t* length);

/* The holder as its description has it: capacity, current length, the message. */
struct message {
    uint32_t capacity;
    int32_t length;
    uint8_t bytes[1504];
};

/* Whose copy an address belongs to: the last part of the file's name. */
static const char* owner(const void* address) {
    Dl_info info;
    if (dladdr(address, &info) == 0 || info.dli_fname == NULL) {
        return "nobody";
    }
    const char* const slash = strrchr(info.dli_fname, '/');
    return slash != NULL ? slash + 1 : info.dli_fname;
}

static void exchange(FILE* report) {
    struct message message = {.capacity = 1500};
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

__attribute__((constructor)) static void loaded(void) {
    FILE* const report = fopen("/tmp/stranger.txt", "w");
    if (report == NULL) {
        return;
    }
    fprintf(report, "owners %s %s %s %s\n", owner(dlsym(RTLD_DEFAULT, "zvmsg_send_timedreceive")),
            owner(dlsym(RTLD_DEFAULT, "zvUtilKlogMsgLevel")), owner(&g_logLevel), owner(s_dmsgstr));
    fprintf(report, "words %d 0x%08x 0x%08x %d\n", g_logLevel, g_debug_level, g_debug, g_timedreceive);
    fprintf(report, "tables %s%08x %s %s\n", s_dmsgstr[25], s_dmsghex[25], zvErrno2Str(-17),
            get_model_name(13));
    zvUtilSetLogLevel(3);
    fprintf(report, "level %d\n", g_logLevel);
    if (g_logLevel > 2) {
        zvUtilKlogMsgLevel(3, 77, "stranger", "hello %s\n", "camera");
    }
    /* The program's own copy waits this long, and traces what is sent. */
    g_timedreceive = 5;
    g_debug_level |= 0x100;
    exchange(report);
    g_timedreceive = 0;
    exchange(report);
    fclose(report);
}
