/*
 * TLV message buffers: flat messages of tagged elements, built and edited in place in the caller's buffer.
 *
 *   Message header, 4 bytes:   total length (2 bytes, header included), reserved 0, type
 *   Element, 4 + n bytes:      reserved 0 ('W' when blanked), data length n (2 bytes), tag, data
 *   Last element:              the end marker 00 00 00 EE
 *
 * Numbers are big-endian, whatever the processor. Elements follow each other without padding.
 *
 * "buffer" is the first byte of the message header, and lengths count bytes. Nothing is allocated, and nothing is
 * logged but the assertion reports named below. Searches and the validation read nothing outside the message's total
 * length: an element whose header does not lie inside it is not found. They take a total length that is negative as a
 * signed 16-bit number for that of an empty message.
 *
 * No pointer may be null unless its call says so.
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
 * Appends an element that holds a copy of length bytes of data. data may be null when length is 0.
 *
 * Returns the element's size, length + 4, cut to a signed 16-bit number; 0 when it does not fit, and then the message
 * is unchanged. It fits when total length + length <= capacity. capacity is the room behind the message header: the
 * buffer has capacity + 4 bytes, and an element may end up to 4 bytes behind the capacity. The new total length is cut
 * to 16 bits. A length with 0xFFFC in its low 16 bits has the size 0 after the cut: if there is room, the element is
 * written, but the result is 0 and the total length does not count it.
 */
int sntlv_add_bin(uint8_t* buffer, uint32_t capacity, uint8_t tag, uint32_t length, const void* data);

/*
 * As sntlv_add_bin, but the data are the arguments behind length, 4 bytes each, in the processor's byte order (least
 * significant first on a little-endian one). Each argument is an int or unsigned, or promotes to one. There are as many
 * as length needs, none for 0; of the last one only the bytes that length still needs are used. One 64-bit argument is
 * not the same as two: pass its halves, in the order in which their bytes shall stand.
 */
int sntlv_add_dat(uint8_t* buffer, uint32_t capacity, uint8_t tag, uint32_t length, ...);

/* The address of the first element with the tag, that is, of its reserved byte; null when there is none. */
uint8_t* tlv_find(uint8_t* buffer, uint8_t tag);

/*
 * Copies the data of the first element with the tag to destination and returns their length. Returns 0 and copies
 * nothing when there is no such element, when the length is not below destination_size, or when the data do not end
 * inside the message. Adds no terminating zero. An element without data gives 0 as well; destination may then be null.
 */
int sntlv_find(void* destination, uint32_t destination_size, uint8_t tag, uint8_t* buffer);

/*
 * Returns 0 for a well-formed message: the element lengths add up to the total length, and the first end marker is the
 * last element. Returns -1 when the last byte is no end marker, when the first end marker is not the last element, or
 * when there is no end marker but the lengths add up. Without end marker and with lengths that do not add up:
 *   types 1, 3, 5, 7, 9, 11, 13   -2 when both payload (66) and response (69) are there, else -3
 *   other types                   -2 when there is a payload and no response, else -3
 */
int tlv_validate(uint8_t* buffer);

/*
 * Blanks the first element with the tag: its reserved byte becomes 'W', its data zero; length, tag and place stay. When
 * there is none, ends the process with an assertion report and status 255.
 */
void sntlv_void(uint8_t* buffer, uint8_t tag);

/*
 * Shortens the message by the size of the first element with the tag and returns minus that size. No byte is moved: if
 * the element is not the last one, the message loses that many bytes of its tail. An element that the end of the
 * message cuts off counts up to there. capacity is not used. When there is none, ends the process with an assertion
 * report and status 255.
 */
int sntlv_remove(uint8_t* buffer, uint32_t capacity, uint8_t tag);

/*
 * Writes the count (1 to 4) low-order bytes of value, most significant first, and a zero byte: at most size bytes in
 * all. Room for everything is count + 1 bytes; destination may be null when size is 0. Returns count, even when bytes
 * were cut (like snprintf: a result of size or more means that). For any other count returns 0 and writes nothing.
 */
int snLoclItoI(char* destination, uint32_t size, int count, uint32_t value);

/*
 * Copies length bytes and returns length. Returns 0 and copies nothing when length exceeds destination_size. Both
 * pointers may be null when length is 0.
 */
int snLoclbin(void* destination, uint32_t destination_size, uint32_t length, const void* source);

#ifdef __cplusplus
}
#endif

#endif
