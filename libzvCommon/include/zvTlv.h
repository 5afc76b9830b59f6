/*
 * TLV message buffers: flat messages of tagged elements, built and edited in place in the caller's buffer.
 *
 * Message header, 4 bytes:   total length (2 bytes, header included), reserved 0, type
 * Element, 4 + n bytes:      reserved 0 ('W' when blanked), data length n (2 bytes), tag, data
 * Last element:              the end marker 00 00 00 EE
 *
 * Numbers are big-endian, whatever the processor. Elements follow each other without padding.
 *
 * "buffer" is the first byte of the message header, and lengths count bytes. Nothing is allocated. Searches and the
 * validation trust no length they meet: nothing outside the message's own total length is read, so an element whose
 * header does not lie inside it is not found. A total length that is negative as a signed 16-bit number is that of an
 * empty message to them.
 *
 * No pointer is null unless its call says that it may be.
 */
#ifndef ZV_TLV_H
#define ZV_TLV_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define ZVTLV_HEADER_SIZE 4 /* of a message, and of an element */

#define ZVTLV_CODE 65  /* 'A': message code, 2 bytes */
#define ZVTLV_DATA 66  /* 'B': payload */
#define ZVTLV_DST 67   /* 'C': name of the destination mailbox, without terminating zero */
#define ZVTLV_SRC 68   /* 'D': name of the mailbox that takes the answer, without terminating zero */
#define ZVTLV_RSP 69   /* 'E': response data */
#define ZVTLV_TAIL 238 /* end marker, always without data */

/* Writes the header of an empty message: 00 04 00 type. Returns 4. capacity is not used. */
int sntlv_msg_init(uint8_t* buffer, uint32_t capacity, uint8_t type);

/* The total length in the header, read as a signed 16-bit number: -32768 to 32767. */
int sntlv_msg_len(const uint8_t* buffer);

/*
 * Appends an element holding a copy of length bytes of data (null is fine for none).
 *
 * Returns the element's size, length + 4, cut to a signed 16-bit number; 0 when it does not fit, and then the message
 * is unchanged. It fits when total length + length <= capacity. This lets an element end up to 4 bytes behind the
 * capacity: capacity is the room behind the message header, so the buffer holds capacity + 4 bytes. The new total
 * length is cut to 16 bits. With a length that is 0xFFFC in its low 16 bits, and room for it, the size cut to 16 bits
 * is 0 as well, and the total length stays as it was although the element was written: behind a message that does not
 * count it.
 */
int sntlv_add_bin(uint8_t* buffer, uint32_t capacity, uint8_t tag, uint32_t length, const void* data);

/*
 * As sntlv_add_bin, the data being the bytes of the arguments after length in their in-memory order (least significant
 * byte first on a little-endian processor). Each argument is an int or unsigned (or promotes to one) and stands for up
 * to 4 bytes; as many arguments follow as length needs, none for 0.
 */
int sntlv_add_dat(uint8_t* buffer, uint32_t capacity, uint8_t tag, uint32_t length, ...);

/* The first element with the tag (its reserved byte), or null. */
uint8_t* tlv_find(uint8_t* buffer, uint8_t tag);

/*
 * Copies the data of the first element with the tag to destination and returns its length. Returns 0 and copies nothing
 * when there is none, when its length is not smaller than destination_size, or when its data are cut off by the end of
 * the message. No terminating zero is added. An element without data gives 0, too, and destination may be null for it.
 */
int sntlv_find(void* destination, uint32_t destination_size, uint8_t tag, uint8_t* buffer);

/*
 * 0 for a well-formed message: the element lengths add up to the total length, and the first end marker is
 * the last element. -1: the last byte is no end marker, or the first end marker is not the last element, or
 * there is none while the lengths add up. -2 or -3: there is none, and the lengths do not add up:
 *   types 1, 3, 5, 7, 9, 11, 13   -2 when payload (66) and response (69) are both there, else -3
 *   other types                   -2 when there is a payload and no response, else -3
 */
int tlv_validate(uint8_t* buffer);

/*
 * Blanks the first element with the tag: reserved byte 'W', data all zero; length, tag and place stay. Ends the process
 * with an assertion report and status 255 when there is none.
 */
void sntlv_void(uint8_t* buffer, uint8_t tag);

/*
 * Shortens the message by the size of the first element with the tag and returns minus that size. No byte is moved: it
 * removes the last element, and cuts off the message's tail when the element is not the last. An element that is cut
 * off by the end of the message counts up to there. capacity is not used. Ends the process with an assertion report and
 * status 255 when there is none.
 */
int sntlv_remove(uint8_t* buffer, uint32_t capacity, uint8_t tag);

/*
 * Writes the count (1 to 4) low-order bytes of value, most significant first, each by a bounded formatted write with
 * the room that is left of size: at most size - 1 of them are stored, followed by a zero byte. Returns the number of
 * characters that the writes report, which is count whether they were stored or not (like snprintf: a result of size or
 * more means that the bytes were cut); 0 for another count, and nothing is written then. A destination for all of them
 * has count + 1 bytes; one of size 0 may be null.
 */
int snLoclItoI(char* destination, uint32_t size, int count, uint32_t value);

/*
 * Copies length bytes and returns length; returns 0 and copies nothing when length exceeds destination_size. For a
 * length of 0 both pointers may be null.
 */
int snLoclbin(void* destination, uint32_t destination_size, uint32_t length, const void* source);

#ifdef __cplusplus
}
#endif

#endif
