/*
 * Hex dumps: memory as text in the caller's buffer, and the trace of messages. Nothing is allocated.
 */
#ifndef ZV_HEXDUMP_H
#define ZV_HEXDUMP_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define ZVMSG_DIRECTIONS 28
#define ZVMSG_TRACE_LINE_SIZE 98 /* buffer for one line of a trace */

/*
 * Directions of a message, by index: the marker that stands before its trace, and its trace class. A message is traced
 * only when its class has a bit in common with g_debug. Class 0 (rows 0 and 27) has none.
 */
extern const char* const s_dmsgstr[ZVMSG_DIRECTIONS];
extern const uint32_t s_dmsghex[ZVMSG_DIRECTIONS];

/*
 * Dumps length bytes at address as lines of 16 bytes:
 *   prefix, label (8 hex digits), two blanks, 16 byte slots in groups of four, character column, line end
 * Lines start at multiples of 16. The label is the line's address, its low 32 bits. A line that equals the one before
 * it is left out; one line "..." stands for all that are left out before the next line. A length of 0 gives the address
 * alone ("%p") and a line end.
 *
 * Writes at most size bytes, the terminating zero included. Returns the number of characters of the whole text, like
 * snprintf: a result of size or more means that the text was cut. INT_MAX stands for all larger results. Only the
 * length bytes at address are read. A null prefix counts as empty. buffer may be null when size is 0, and address may
 * be null when length is 0.
 */
int snhexdump(char* buffer, uint32_t size, const void* address, uint32_t length, const char* prefix);

/* The same, but the first line starts at address, and the labels are offsets from 0. */
int snhexdump0(char* buffer, uint32_t size, const void* address, uint32_t length, const char* prefix);

/* Dumps as snhexdump when aligned is not 0, as snhexdump0 when it is 0. */
int _snhexdump(char* buffer, uint32_t size, const void* address, uint32_t length, int aligned, const char* prefix);

/*
 * Writes one line of a trace without line end, at most size - 1 characters. With a marker of 12 it has 75:
 *   marker (at least 11 columns), *address_counter rounded down to a multiple of 16 (8 hex digits),
 *   two blanks, 16 byte slots in groups of four, two blanks, character column
 * The slots show the 16 bytes from data[*index] on; a slot outside 0 to length - 1 stays blank. Both counters are
 * raised by 16; the index stops at INT_MAX. buffer may be null when size is 0, data when every slot stays blank. No
 * other pointer may be null.
 */
void hexline(char* buffer, uint32_t size, const char* marker, uint32_t* address_counter, int* index, const void* data,
             int length);

/*
 * Prints the trace of a message to syslog and to the outputs that g_debug_level selects (zvLog.h), from verbosity 8 on.
 * address is the label of the first byte. Without bit 9 of g_debug_level a long message shows its first 64 bytes, and
 * then the lines behind which fewer than 32 bytes remain. data may be null when length is 0 or less; marker may not.
 */
void hexprint(const char* marker, uint32_t address, const void* data, int length);

#ifdef __cplusplus
}
#endif

#endif
