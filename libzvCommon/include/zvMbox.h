/*
 * Mailboxes: named POSIX message queues through which the processes of the camera exchange messages.
 *
 * Names begin with "/". Results: 0 or a length for success, negative for failure. Programming errors end the process:
 * an assertion report (when the verbosity in g_debug_level is above 7), then exit status 255. Nothing is kept between
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
#define ZVMSG_MAX_COUNT 40   /* maximum count of a sending handle before the queue's own is read */
#define ZVMSG_MAX_COUNT_SM 2 /* messages in the mailbox for one answer */

/* An open mailbox; owned by the caller. The name is not copied: it must live as long as the handle. */
typedef struct zvMbox_attr {
    mqd_t mqd; /* queue descriptor, -1 when the open failed; closing leaves the number of the closed one */
    struct mq_attr attr;
    const char* name;
} zvMbox_attr;

/* Fills a handle: no descriptor, flags 0, the count, message size 1500, current count 0, the name. Opens
 * nothing. */
void zvMbox_init(const char* name, int max_messages, zvMbox_attr* zvattr);

/*
 * Opens for receiving. Creates the queue when it does not exist: permissions 0664 as the umask leaves them, the given
 * count and message size; an existing queue keeps its own. Returns 0; -1 when the queue cannot be opened (reported at
 * verbosity 16 and above).
 */
int zvMbox_rxopen_ext(const char* name, int max_messages, int message_size, zvMbox_attr* zvattr);

/* The same with message size 1500. */
int zvMbox_rxopen(const char* name, int max_messages, zvMbox_attr* zvattr);

/* Opens an existing queue for sending. Returns 0; -1 when it cannot be opened (reported at verbosity 16 and
 * above). */
int zvMbox_txopen(const char* name, zvMbox_attr* zvattr);

/* Creates a queue as zvMbox_rxopen_ext does and closes it again. Always returns 0, even when that failed. */
int zvMbox_create_ext(const char* name, int max_messages, int message_size);

/* The same with message size 1500. */
int zvMbox_create(const char* name, int max_messages);

/*
 * Closes the descriptor, once: its number stays in the handle and may be that of another file soon. Returns what the
 * close gave: 0; -1 with errno when it was not open.
 */
int zvMbox_close(zvMbox_attr* zvattr);

/* Removes the name; the queue goes when its last user has closed it. Always returns 0. */
int zvMbox_unlink(const char* name);

/*
 * Sends at priority 0 and returns what the send gave: 0, or -1 with errno. Reads the queue's attributes into the handle
 * first. Ends the process when length exceeds 1500, and when the queue is full (after a report at verbosity 16 and
 * above): a sender neither waits nor drops. Only a queue that fills between the look and the send makes the sender
 * wait.
 */
int zvMbox_send(const void* message, int length, zvMbox_attr* zvattr);

/*
 * Waits for a message without limit; returns its length. Ends the process when receiving fails: size below the queue's
 * message size, no open descriptor, a signal.
 */
int snzvMbox_receive(void* buffer, uint32_t size, zvMbox_attr* zvattr);

/*
 * Waits for a message until g_timedreceive seconds of wall-clock time have passed; returns its length, -1 when the time
 * is over, -2 on every other failure. Logs nothing.
 */
int snzvMbox_timedreceive(void* buffer, uint32_t size, zvMbox_attr* zvattr);

#ifdef __cplusplus
}
#endif

#endif
