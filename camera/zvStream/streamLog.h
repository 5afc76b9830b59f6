/*
 * The log of the streaming program: /tmp/fuse_d/zvStream.log, one JSON object a line, appended.
 *
 *   {"event":"start","pid":123,"time":"2026-11-21T03:10:00.123Z","arguments":["-x","1"]}
 *   {"event":"end","pid":123,"time":"2026-11-21T03:11:00.456Z","reason":"SIGINT"}
 *
 * The program's own name is not among the arguments. Bytes that are not UTF-8 become U+FFFD. A program that is killed
 * writes no "end".
 */
#pragma once

#include <string>
#include <vector>

inline constexpr const char* streamLogPath = "/tmp/fuse_d/zvStream.log";

/* Append a line. False when the file cannot be opened or written; the cause is then in errno. */
bool logStart(const std::vector<std::string>& arguments);
bool logEnd(const std::string& reason);
