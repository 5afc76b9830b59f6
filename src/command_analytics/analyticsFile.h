/*
 * Reading and copying of the analytics file.
 */
#pragma once

#include <cstdint>
#include <cstdio>

/* Bytes copied at a time; the memory that a copy needs does not depend on the file's size. */
inline constexpr std::size_t analyticsBlockSize = 1024;

/* Blocks that are sent one by one at the start of a file, and bytes that are sent at a time behind them. */
inline constexpr int analyticsDirectBlocks = 16;
inline constexpr std::size_t analyticsGatheredSize = 32 * analyticsBlockSize;

/* Opens a file for reading. Does not wait for the writer of a pipe. Null when it cannot be opened. */
std::FILE* openAnalytics(const char* path);

/*
 * Moves to the file's end. -1 when that is not possible: a pipe, a directory, or an end beyond what a signed 32-bit
 * count of bytes can name (2 GiB and more).
 */
int seekAnalyticsEnd(std::FILE* file, std::int32_t& size);

/* Moves to the file's start; -1 when that is not possible. */
int seekAnalyticsStart(std::FILE* file);

/*
 * Copies source to destination in blocks until the source is exhausted. 0 then, -1 when the source's error indicator is
 * set after a block. Write errors are not checked.
 */
int copyAnalytics(std::FILE* destination, std::FILE* source);

/*
 * Copies source to a descriptor in the same way, but limit bytes at most: the first blocks one by one, the later ones
 * together.
 */
int sendAnalytics(int descriptor, std::FILE* source, std::int32_t limit);
