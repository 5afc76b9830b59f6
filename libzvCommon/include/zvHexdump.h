/*
 * Hex dumps: memory as text in the caller's buffer, and the trace of messages on the diagnostic outputs. Nothing is
 * allocated.
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
 * Directions of a message, by index: the marker under which it is traced, and its trace class. A message is traced only
 * when its class has a bit in common with g_debug; class 0 (rows 0 and 27) never has.
 */
extern const char* const s_dmsgstr[ZVMSG_DIRECTIONS];
extern const uint32_t s_dmsghex[ZVMSG_DIRECTIONS];

/*
 * Dumps length bytes at address as lines of 16 bytes:
 *   prefix, label (8 hex digits), two blanks, 16 byte slots in groups of four, character column, line end
 * Lines stand at multiples of 16 and are labelled with the (32 low bits of the) address. A line equal to the
 * one before it is left out; a line "..." stands for one or more of them before the next line. 0 bytes give
 * the address alone ("%p") and a line end.
 *
 * Writes at most size bytes, the terminating zero included. Returns the number of characters of the whole text, like
 * snprintf: a result of size or more means that the text was cut; INT_MAX stands for all larger ones. Only the length
 * bytes at address are read. A null prefix is an empty one; buffer may be null when size is 0, address when length is
 * 0.
 */
int snhexdump(char* buffer, uint32_t size, const void* address, uint32_t length, const char* prefix);

/* The same with lines that start at address itself and are labelled with offsets from 0. */
int snhexdump0(char* buffer, uint32_t size, const void* address, uint32_t length, const char* prefix);

/* Either: as snhexdump when aligned is not 0, as snhexdump0 when it is. */
int _snhexdump(char* buffer, uint32_t size, const void* address, uint32_t length, int aligned, const char* prefix);

/*
 * Writes one line of a trace, of at most size - 1 characters (75 with a marker of 12), without line end:
 *   marker (at least 11 columns), *address_counter rounded down to a multiple of 16 (8 hex digits),
 *   two blanks, 16 byte slots in groups of four, two blanks, character column
 * The slots show data[*index] and the following; those outside 0 to length - 1 stay blank. Both counters
 * advance by 16; the index stops at INT_MAX.
 */
void hexline(char* buffer, uint32_t size, const char* marker, uint32_t* address_counter, int* index, const void* data,
             int length);

/*
 * Prints the trace of a message on the diagnostic outputs that g_debug_level selects (zvLog.h), syslog included;
 * nothing at a verbosity of 7 or less. address labels the first byte. Without bit 9 of g_debug_level a long message
 * shows its first 64 bytes, then its last lines only, from the line after which fewer than 32 bytes remain.
 */
void hexprint(const char* marker, uint32_t address, const void* data, int length);

#ifdef __cplusplus
}
#endif

#endif
