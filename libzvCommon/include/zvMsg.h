/*
 * Message exchange: building a request, addressing it, sending it through a mailbox and waiting for the answer.
 *
 * A request holds, in this order: header (type), message code (tag 65), payload (66), answer-to mailbox (68),
 * destination mailbox (67), end marker (238). An answer carries its data in a response element (69).
 *
 * An invalid message and a mailbox that cannot be opened are programming errors: an assertion report (from verbosity 8
 * in g_debug_level on), then the process ends with status 255. An oversized message and a full mailbox end it as well
 * (zvMbox.h). No pointer may be null unless its call says so.
 */
#ifndef ZV_MSG_H
#define ZV_MSG_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * A message and its room, owned by the caller: usually an array of ZVMSG_HOLDER_SIZE(capacity) bytes on its stack. The
 * array must be aligned for a holder by _Alignas(zvmsg_holder), alignas in C++. To take an answer, the capacity must be
 * ZVMSG_MAX or more.
 *
 * The capacity is trusted, the length is not: nothing behind capacity + 4 bytes is read, traced or sent. For a capacity
 * of 0 see zvmsg_response. zvmsg_build, zvmsg_send and zvmsg_send_timedreceive write up to 4 bytes behind the capacity,
 * because an element that they append may end there (sntlv_add_bin). An answer never reaches behind the capacity.
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
 * Starts a message of the type; adds the code (2 bytes, copied in their order) and the payload. payload may be null
 * when its length is 0. Leaves out an element that does not fit (sntlv_add_bin). Sets and returns the current length.
 */
int zvmsg_build(zvmsg_holder* iobuf, const void* code, const void* payload, uint32_t payload_length, uint8_t type);

/*
 * Completes the message with the mailbox names and the end marker, traces it (zvHexdump.h), and sends it.
 *
 *   from        name of the mailbox that takes an answer
 *   to          name of the destination
 *   via         name of the mailbox that the message is sent to; null for the destination itself
 *   direction   0 to 27, the row of s_dmsgstr for the trace; with any other number nothing is traced
 *
 * Returns the result of closing the mailbox: 0. A failed send does not change the result.
 */
int zvmsg_send(zvmsg_holder* iobuf, const char* from, const char* to, const char* via, int direction);

/*
 * As zvmsg_send; then waits for one answer in the mailbox from, at most g_timedreceive seconds. The mailbox is made
 * anew before the send, and removed afterwards in any case; a stale one is removed first. So each waiting process needs
 * a name of its own.
 *
 * The answer replaces the request in the holder. The rest of the request behind it is set to zero, and so are the bytes
 * that the answer's total length claims but that did not come; nothing behind the capacity is written. Returns the
 * answer's length; -1 when none came in time, -2 when receiving failed, as it does with a capacity below ZVMSG_MAX. The
 * current length is set to the result. The answer is not validated: its total length may be any.
 *
 * On -1 and -2 the request stays in the holder as it was sent, with names and end marker. It is no answer, and it
 * cannot be sent again: begin with zvmsg_build.
 */
int zvmsg_send_timedreceive(zvmsg_holder* iobuf, const char* from, const char* to, const char* via, int direction);

/*
 * Finds the response element (69) of the message in the holder. Stores the address of its data, which stay in the
 * holder, and their length in bytes; returns the element's address. Returns null and stores nothing when there is no
 * such element, or when its data do not end inside the bound below.
 *
 * The bound is the message's total length. When that is above capacity + 4, which no message in the holder can have,
 * the bound is the capacity, unless the capacity is 0, that is, never set. The current length plays no part: it may be
 * out of date, and after an exchange without an answer it is negative while the request is still there. So look at the
 * exchange's result first.
 */
uint8_t* zvmsg_response(zvmsg_holder* iobuf, uint8_t** data, uint16_t* length);

#ifdef __cplusplus
}
#endif

#endif
