/*
 * A program of its own: sends "ping" to the mailbox that it is given, and prints what is answered.
 *
 *   ask MAILBOX          for example: ask /peer
 *
 * Ends with 1 when no answer comes within g_timedreceive seconds, and with 2 when nobody has that mailbox.
 */
#include <stdio.h>
#include <unistd.h>
#include <zvLog.h>
#include <zvMbox.h>
#include <zvMsg.h>
#include <zvTlv.h>

/* To send to a mailbox that does not exist would end the process with a report. */
static int exists(const char* name) {
    zvMbox_attr mailbox;
    return zvMbox_txopen(name, &mailbox) == 0 && zvMbox_close(&mailbox) == 0;
}

int main(int argc, char** argv) {
    _Alignas(zvmsg_holder) unsigned char storage[ZVMSG_HOLDER_SIZE(ZVMSG_MAX)];
    zvmsg_holder* message = (zvmsg_holder*)storage;
    char own_name[32];
    uint8_t* data;
    uint16_t length;

    g_debug_level &= 0xFFFFFF00U; /* the program says itself what is wrong */
    if (argc != 2 || !exists(argv[1])) {
        fprintf(stderr, "ask: give the name of a mailbox that exists\n");
        return 2;
    }
    snprintf(own_name, sizeof own_name, "/ask%ld", (long)getpid()); /* each process that waits needs its own */
    message->capacity = ZVMSG_MAX;
    zvmsg_build(message, "AB", "ping", 4, 1);
    if (zvmsg_send_timedreceive(message, own_name, argv[1], NULL, 25) < 0 ||
        sntlv_msg_len(message->buf) > message->length || tlv_validate(message->buf) != 0 ||
        zvmsg_response(message, &data, &length) == NULL) {
        fprintf(stderr, "ask: no answer\n");
        return 1;
    }
    printf("%.*s\n", (int)length, (const char*)data);
    return 0;
}
