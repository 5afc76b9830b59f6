// What the stand-in answers: the file that ZV_JOURNAL_SCRIPT names has a line "NAME VALUE" for each answer. The answers
// of a name are given one after the other; behind the last one, and without any, the stand-in answers by itself.
#pragma once

#include <optional>
#include <string>

namespace script {

std::optional<std::string> next(const std::string& name);

// The same as a number, or otherwise.
int number(const std::string& name, int otherwise);

} // namespace script
