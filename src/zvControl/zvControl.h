/*
 * The program's entry: serves the one request that the CGI environment describes.
 */
#pragma once

/*
 * Reads PATH_INFO and QUERY_STRING, answers on standard output and returns the request's result, of which the
 * process makes its exit status:
 *
 *   no or an empty path       the camera description document; always 0, and the dispatcher is not asked
 *   interface or registration failure   nothing on standard output, one error line in the log; the failure's
 * code otherwise                 the dispatcher's result: 0 success, -18 the handler has answered by itself,
 * -20 and -4 answered with 400, anything else with 500
 *
 * To be called once per process. Logs under the source name "zvControl" and raises the log level to 6.
 */
int zv_control_main();
