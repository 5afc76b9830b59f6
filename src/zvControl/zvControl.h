/*
 * The program's entry: serves the one request that the CGI environment describes.
 */
#pragma once

/*
 * Reads PATH_INFO and QUERY_STRING, answers on standard output and returns the request's result, which becomes the
 * process's exit status:
 *
 *   no or an empty path: always 0; answered with the camera description, and the dispatcher is not asked
 *   interface or registration failure: its code; nothing on standard output, one error line in the log
 *   otherwise: the dispatcher's result
 *     0    answered with success
 *     -18  the handler has answered by itself
 *     -20  answered with 400 "unknown request"
 *     -4   answered with 400
 *     else answered with 500
 *   memory that runs out: ZV_ERR_OUTOFMEM; nothing on standard output
 *
 * An answer that standard output refuses is one error line in the log and changes no result.
 *
 * To be called once per process. Logs under the source name "zvControl" and raises the log level to 6.
 */
int zvControlMain();
