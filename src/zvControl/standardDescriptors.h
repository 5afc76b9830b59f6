/*
 * The descriptors that every program counts on: standard input, output and error.
 */
#pragma once

/*
 * Opens the null device. Without one, a folder, which refuses what is written to it and what is read. Returns the
 * descriptor.
 */
int openNothing();

/*
 * Opens the null device likewise for those of the three that are closed. Otherwise the next file or socket would get
 * the number, and an answer would go there. To be called before anything is opened. Logs nothing.
 */
void openStandardDescriptors();
