/*
 * Mailboxes: named POSIX message queues through which the processes of the camera exchange messages.
 *
 * Names begin with "/". Results: 0 or a length in bytes for success, negative for failure. Programming errors end the
 * process: an assertion report (from verbosity 8 in g_debug_level on), then exit status 255. Nothing is kept between
 * calls and nothing is allocated. No pointer may be null.
 */
#ifndef ZV_MBOX_H
#define ZV_MBOX_H

#include <mqueue.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define ZVMSG_MAX 1500       /* largest message, bytes */
#define ZVMSG_MAX_COUNT 40   /* maximum count in a sending handle until zvMbox_send reads the queue's own */
#define ZVMSG_MAX_COUNT_SM 2 /* messages that the mailbox for one answer holds */

/* An open mailbox; owned by the caller. The name is not copied: it must live as long as the handle. */
typedef struct zvMbox_attr {
    mqd_t mqd; /* queue descriptor; -1 when the open failed; zvMbox_close leaves it unchanged */
    struct mq_attr attr;
    const char* name;
} zvMbox_attr;

/* Fills a handle and opens nothing: no descriptor, flags 0, the count, message size 1500, current count 0, the name. */
void zvMbox_init(const char* name, int max_messages, zvMbox_attr* zvattr);

/*
 * Opens for receiving. Creates a missing queue with the given count and message size (bytes) and with permissions 0664
 * as the umask leaves them; an existing queue keeps its own. Returns 0; -1 with errno when the queue cannot be opened,
 * which is reported from verbosity 16 on.
 */
int zvMbox_rxopen_ext(const char* name, int max_messages, int message_size, zvMbox_attr* zvattr);

/* The same with message size 1500. */
int zvMbox_rxopen(const char* name, int max_messages, zvMbox_attr* zvattr);

/* Opens an existing queue for sending. Returns 0; -1 with errno when it cannot, reported from verbosity 16 on. */
int zvMbox_txopen(const char* name, zvMbox_attr* zvattr);

/* Creates a queue as zvMbox_rxopen_ext does, and closes it. Returns 0 even when that fails. */
int zvMbox_create_ext(const char* name, int max_messages, int message_size);

/* The same with message size 1500. */
int zvMbox_create(const char* name, int max_messages);

/*
 * Closes the descriptor. Its number stays in the handle: do not use it again, another file may get it. Returns 0; -1
 * with errno when the descriptor was not open.
 */
int zvMbox_close(zvMbox_attr* zvattr);

/* Removes the name; the queue ends when its last user has closed it. Always returns 0. */
int zvMbox_unlink(const char* name);

/*
 * Sends length bytes at priority 0. Returns 0; -1 with errno when the queue refuses. Before the send it reads the
 * queue's attributes into the handle. It ends the process when length exceeds 1500, and when the queue is full, which
 * is reported from verbosity 16 on: a sender neither waits nor drops. It waits only when the queue fills between the
 * check and the send. A negative length is sent to no one: the result is -1 with EMSGSIZE, unless the queue is full.
 */
int zvMbox_send(const void* message, int length, zvMbox_attr* zvattr);

/*
 * Waits for a message without limit and returns its length. Ends the process when receiving fails: size is below the
 * queue's message size, the descriptor is not open for receiving, or a signal comes.
 */
int snzvMbox_receive(void* buffer, uint32_t size, zvMbox_attr* zvattr);

/*
 * Waits for a message for g_timedreceive seconds of wall-clock time. Returns its length; -1 when none came in time, -2
 * on every other failure. Logs nothing.
 */
int snzvMbox_timedreceive(void* buffer, uint32_t size, zvMbox_attr* zvattr);

#ifdef __cplusplus
}
#endif

#endif
