/*
 * What the resident process itself has to say.
 */
#pragma once

#include <string_view>

inline constexpr std::string_view scgiProgram = "zvControl-scgi";

/*
 * Writes the text as a line to standard error, behind the program's name. Never waits: a line that there is no room for
 * is lost.
 */
void reportScgi(std::string_view text);
