/* Small services: trimming, going into the background, the card identifier. None writes to the system log. */
#ifndef ZV_UTIL_H
#define ZV_UTIL_H

#ifdef __cplusplus
extern "C" {
#endif

#define ZV_CARD_ID_SIZE 32 /* least size of the buffer for getCardIDStr */

/*
 * Returns the address of the first character of s that is neither space nor tab; null when there is none, or when s is
 * null. Does not change s.
 */
char* trim(char* s);

/*
 * Puts the process into the background by a fork. The parent ends with status 0; it runs no exit handlers and leaves
 * the contents of its stdio buffers to the child. The child leads a new session, its folder is "/" and its umask 0.
 * Returns in the child 0, or -1 with errno when the folder cannot be changed. Returns -1 when the fork fails, and does
 * nothing but return 0 when the parent of the process is init.
 */
int daemon_init(void);

/*
 * Fills out (at least ZV_CARD_ID_SIZE bytes) with the card's identifier. It is the first line of the card file
 * /tmp/fuse_d/MISC/card, with its line end, cut to 31 characters; it need not be a number. When there is nothing to
 * read, it is a new random number in decimal digits, which is stored in the file without line end. A missing folder
 * MISC is created, its parent is not.
 *
 * Returns 0. Returns -1 and writes one line to standard error when out is null, when the folder or the file cannot be
 * created or written, or when no number could be drawn. Then out, unless null, holds "0"; it holds the new identifier
 * when only the writing failed.
 */
int getCardIDStr(char* out);

#ifdef __cplusplus
}
#endif

#endif
