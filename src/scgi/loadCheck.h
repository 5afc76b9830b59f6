/*
 * What the libraries have done to this process while they were loaded: a process that is forked later has no thread of
 * theirs, and shares their descriptors with all others.
 */
#pragma once

#include <string>

/*
 * Empty when the process has the threads and descriptors that it was started with, and no others. Otherwise a text that
 * says what has been added, or that it cannot be known. To be called at the beginning of main.
 */
std::string describeLoading();
