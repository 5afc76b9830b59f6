/*
 * Starting and stopping of programs through the system shell.
 *
 * Every operation returns 0 or -1, and has written its failure status into the stream before it returns -1.
 */
#pragma once

#include "execEntry.h"

#include <iosfwd>

/*
 * Checks that the entry's program exists in the installation directory and can be read, removes the double quotes from
 * its arguments (in place) and carries out its action. A null entry is a failure.
 */
int executeCommand(ExecEntry* entry, std::ostream& stream);

/* Stops every process of a whitelisted program: SIGINT, 50 ms, signal 9. No such process is no failure. */
int stopProg(const char* program, std::ostream& stream);

/*
 * Starts a whitelisted program in the background and does not wait for it; arguments may be null. On kernels from 5.11
 * on, the program inherits no descriptor of this process. Its exit status is never seen.
 *
 * The shell command is cut to 1023 characters. Arguments that leave no room for its end, or that comment it out, make
 * the shell wait for the program.
 */
int startProg(const char* program, const char* arguments, std::ostream& stream);
