/*
 * The commands under "command/ble/".
 *
 * Every handler takes the request's query text (null counts as empty), the response buffer (null: the answer is
 * composed and dropped) and the buffer's size in bytes. On success it leaves a zero-terminated JSON text in the buffer,
 * or nothing when it has no answer; on failure the buffer is untouched. Results are codes of zvErrno.h: 0, -1 (the
 * daemon refused or did not answer, its reply was malformed, the answer did not fit), -3 (a parameter is missing or
 * unusable), or -2 when memory runs out; a list that it runs out for gives -1. No handler throws: an exception would
 * pass through the dispatcher, and the link would stay open.
 *
 * Fixed: never -4; clients expect 500, not 400, for a bad parameter too.
 *
 * Causes are logged at error level under the source name "command_ble".
 *
 * This header gives the whole interface of the BLE module: the commands, the link below them, the messages, the checks
 * of a reply and the device address.
 */
#pragma once

#include "bleInterface.h"
#include "bleLink.h"
#include "bleMessages.h"
#include "bleReply.h"
#include "deviceAddress.h"

/* "command/ble/pairing_available": 0 when a pairing may start. Needs no link, so its row has no hooks. */
int ble_pairing_available(const char* params, char* response, int responseSize);
/* "command/ble/pairing_phase": p= enters (not 0) or leaves (0) the pairing phase. */
int ble_pairing_phase(const char* params, char* response, int responseSize);

/* "command/ble/configure": auto_connect= sets the configuration; an empty query answers it. */
int ble_configure(const char* params, char* response, int responseSize);
/* "command/ble/scan": p= is passed to the daemon, cut to 8 bits. */
int ble_scan(const char* params, char* response, int responseSize);
/* "command/ble/scan/list": p= asks for one page from that index; without it, the whole list is answered. */
int ble_scan_list(const char* params, char* response, int responseSize);

/* "command/ble/pair/start" and "command/ble/pair/cancel": device= and optionally address_type=. */
int ble_pair_start(const char* params, char* response, int responseSize);
int ble_pair_cancel(const char* params, char* response, int responseSize);
/* "command/ble/pair/status": answers the pairing status; the query is not read. */
int ble_pair_status(const char* params, char* response, int responseSize);

/* "command/ble/whitelist/list": p= as in the scan list. */
int ble_whitelist_list(const char* params, char* response, int responseSize);
/* "command/ble/whitelist/configure": device= and remove=1 or auto_connect=. */
int ble_whitelist_configure(const char* params, char* response, int responseSize);
/* "command/ble/whitelist/device": answers the entry of address=, or an empty object. */
int ble_whitelist_device(const char* params, char* response, int responseSize);
