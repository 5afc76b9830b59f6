// One trace line about a message: category, size and elements with the start of their data.
#pragma once

#include <cstddef>

class MsgElement;

class MsgTrace {
public:
    // Whether the program that loaded this library traces messages: it exports the logging call and its switches, its
    // level is UTIL_LOG_TRACE, and bit 8 of g_debug_level is set.
    static bool wanted();

    // title may be null.
    MsgTrace(const char* title, unsigned char category, std::size_t size);
    // False when the line is full.
    bool add(const MsgElement& element);
    void log();

private:
    template<class... Values>
    bool append(const char* format, Values... values);

    // What the logging call keeps whole behind the level's name: 334 characters.
    char line_[335] = {};
    std::size_t used_ = 0;
};
