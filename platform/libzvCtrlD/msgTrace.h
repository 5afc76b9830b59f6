// The trace of a message in one line: category, size, and the elements with the first bytes of their data.
#pragma once

#include <cstddef>

class MsgElement;

class MsgTrace {
public:
    // True when the program that loaded this library traces messages: it exports the logging call and its switches, its
    // level is UTIL_LOG_TRACE, and bit 8 of g_debug_level is set.
    static bool wanted();

    // size: bytes of the message on a queue. title may be null.
    MsgTrace(const char* title, unsigned char category, std::size_t size);
    // Adds an element; false when the line is full.
    bool add(const MsgElement& element);
    // Logs the line at level 6 (UTIL_LOG_TRACE).
    void log();

private:
    template<class... Values>
    bool append(const char* format, Values... values);

    // The logging call keeps 334 characters behind the level's name, and cuts a longer text.
    static constexpr std::size_t lineSize = 335;

    char line_[lineSize] = {};
    std::size_t used_ = 0;
};
