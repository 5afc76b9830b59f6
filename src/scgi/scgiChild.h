/*
 * What a process does that has been forked for a connection: it becomes what the web server starts as a CGI program.
 */
#pragma once

#include "uniqueFd.h"

#include <chrono>

/* What a request may take to arrive, header and body. */
inline constexpr std::chrono::milliseconds scgiArrivalLimit{10'000};

/*
 * Reads the request from the connection and calls the entry, whose result is returned. Meanwhile the environment is the
 * request's, standard input its body, standard output the connection, and the process's name that of the CGI program.
 * A request that cannot be read is one error line in the log; the entry is not called, and EXIT_FAILURE returned.
 */
int serveScgiConnection(zv::UniqueFd connection, int (*entry)(), std::chrono::milliseconds limit = scgiArrivalLimit);
