/*
 * Message exchange: building a request, addressing it, sending it through a mailbox and waiting for the answer.
 *
 * A request holds, in this order: header (type), message code (tag 65), payload (66), answer-to mailbox (68),
 * destination mailbox (67), end marker (238). An answer carries its data in a response element (69).
 *
 * Invalid messages and mailboxes that cannot be opened are programming errors: an assertion report (when the verbosity
 * in g_debug_level is above 7), then the process ends with status 255. So do an oversized message and a full mailbox
 * (zvMbox.h). No pointer may be null unless its call says so.
 */
#ifndef ZV_MSG_H
#define ZV_MSG_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * A message and its room; owned by the caller, usually in an array of ZVMSG_HOLDER_SIZE(capacity) bytes on its stack,
 * which is to be aligned for a holder (_Alignas(zvmsg_holder), alignas in C++): an array of bytes alone is not. To take
 * an answer the capacity is at least ZVMSG_MAX.
 *
 * The capacity is trusted, the length is not: nothing behind capacity + 4 bytes is read, traced or sent (but see
 * zvmsg_response for a capacity of 0).
 */
__extension__ typedef struct zvmsg_holder {
    uint32_t capacity; /* bytes available for the message */
    int32_t length;    /* bytes of the message, as in its header; negative when an answer did not come */
    /* The message (zvTlv.h); as many bytes as the caller has provided. */
    uint8_t buf[];
} zvmsg_holder;

/* Bytes of a holder of that capacity: an appended element may end up to 4 bytes behind the capacity. */
#define ZVMSG_HOLDER_SIZE(capacity) (sizeof(zvmsg_holder) + (capacity) + 4)

/*
 * Starts a message of the type and adds the code (2 bytes, copied as they are) and the payload (null is fine for none).
 * Sets and returns the current length; an element that does not fit (sntlv_add_bin) is left out.
 */
int zvmsg_build(zvmsg_holder* iobuf, const void* code, const void* payload, uint32_t payload_length, uint8_t type);

/*
 * Completes the message with the names from (takes an answer) and to (destination) and the end marker, traces it
 * (zvHexdump.h), and sends it to the mailbox via, or to the mailbox to when via is null.
 *
 *   direction   0 to 27, the row of s_dmsgstr under which the message is traced; others are not traced
 *
 * Returns the result of closing the mailbox: 0. Whether the send itself failed is not told.
 */
int zvmsg_send(zvmsg_holder* iobuf, const char* from, const char* to, const char* via, int direction);

/*
 * As zvmsg_send, then waits for one answer, at most g_timedreceive seconds, in the mailbox from, which is made anew
 * before the sending (a stale one is removed) and removed afterwards, answered or not. Each waiting process therefore
 * needs a name of its own.
 *
 * The answer replaces the request in the holder: what is left of the request behind it is zero, and so is what the
 * answer's own total length claims beyond the bytes that came. Returns its length, -1 when none came in time, -2 when
 * receiving failed (also when the capacity is below ZVMSG_MAX); the current length is set to the same value. The answer
 * is not validated: it comes from another process.
 */
int zvmsg_send_timedreceive(zvmsg_holder* iobuf, const char* from, const char* to, const char* via, int direction);

/*
 * The response element (69) of the message in the holder. Stores the address of its data, which lie in the holder, and
 * their length, and returns a non-null value (the element's address). Returns null and stores nothing when there is
 * none, when its data are cut off by the bounds below, or when the current length is negative (no answer came).
 *
 * Looked for inside the message's own total length and the capacity + 4 bytes of the holder. A current length that is
 * not negative does not matter: it may be that of a build before elements were appended. Only in a holder whose
 * capacity is 0, because it was never set, does it take the capacity's place; where it is 0 as well, the total length
 * alone counts.
 */
uint8_t* zvmsg_response(zvmsg_holder* iobuf, uint8_t** data, uint16_t* length);

#ifdef __cplusplus
}
#endif

#endif
