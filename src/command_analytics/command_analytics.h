/*
 * The custom URIs "analytics/get" and "analytics/clear": they fetch and discard the analytics file, which the control
 * daemon collects and owns.
 *
 * Both are handlers of the URI dispatcher; they ignore query text, response buffer and size.
 */
#pragma once

/*
 * Streams the analytics file to standard output, as one header line and the file's bytes. The result:
 *
 *   ZV_ERR_RESPONSE_ALREADY_SENT: an answer has been printed, one of
 *     the file; no byte of it when standard output has refused the header
 *     403 "busy" while the camera records
 *     204 "no content" when the file cannot be opened or has no readable size
 *   ZV_ERR: the recording state cannot be read; nothing printed
 *   ZV_ERR_OUTOFMEM: memory ran out; nothing printed
 *   any other: the code with which the control daemon refused to name the file; nothing printed
 *
 * Logs the file's path at level 4.
 */
int handle_command_analytics(const char* params, char* response, int responseSize);

/* Asks the control daemon to clear the analytics. ZV_OK, whatever the daemon says. */
int handle_command_analytics_clear(const char* params, char* response, int responseSize);
