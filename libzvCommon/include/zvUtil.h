/* Small services: trimming, going into the background, the card identifier. None writes to the system log. */
#ifndef ZV_UTIL_H
#define ZV_UTIL_H

#ifdef __cplusplus
extern "C" {
#endif

#define ZV_CARD_ID_SIZE 32 /* least size of the buffer for getCardIDStr */

/*
 * The first character of s that is neither space nor tab; null when there is none, or s is null. Points into s, which
 * is not changed.
 */
char* trim(char* s);

/*
 * Puts the process into the background: the parent ends with status 0, without exit handlers and without writing what
 * its stdio buffers hold, which is left to the child; the child leads a new session, stands in "/" and has file
 * creation mask 0. Returns, in the child, the result of changing the directory (0, or -1 with errno); 0 at once,
 * nothing done, when the parent of the process is init already; -1 when the fork fails.
 */
int daemon_init(void);

/*
 * Fills out (at least ZV_CARD_ID_SIZE bytes) with the card's identifier: what the first line of the card file
 * /tmp/fuse_d/MISC/card holds, as read, up to 31 characters, a line end among them; it is not checked to be a
 * number. When there is nothing to read, a new random number in decimal digits, which is stored there without line
 * end. The folder is created when missing, its parent is not.
 *
 * Returns 0; -1 with one line on standard error when out is null, the folder or the file cannot be created or written,
 * or no number could be drawn. Then out, unless null, holds "0", or the new identifier when only the writing failed.
 */
int getCardIDStr(char* out);

#ifdef __cplusplus
}
#endif

#endif
