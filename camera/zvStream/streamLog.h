/*
 * The log of the streaming program: /tmp/fuse_d/zvStream.log, one JSON object a line, appended.
 *
 *   {"event":"start","pid":123,"time":"2026-11-21T03:10:00.123Z","arguments":["-x","1"]}
 *   {"event":"end","pid":123,"time":"2026-11-21T03:11:00.456Z","reason":"SIGINT"}
 *
 * Arguments stand there without the program's own name; bytes that are not UTF-8 are shown as U+FFFD. A program that
 * was killed leaves no end.
 */
#pragma once

#include <string>
#include <vector>

inline constexpr const char* stream_log_path = "/tmp/fuse_d/zvStream.log";

/* Append a line. False when the file cannot be opened or written; the cause is then in errno. */
bool log_start(const std::vector<std::string>& arguments);
bool log_end(const std::string& reason);
