// "key=value" words of the command line.
#pragma once

#include "jsonReader.h"

#include <string>
#include <vector>

namespace zvcamera {

/*
 * The object that the words stand for: numbers, true and false become such, the rest texts. name, presence and pairing
 * are always texts; uuid16 and uuid128 become lists of texts, with a comma between two. Throws std::runtime_error for a
 * word without "=" or key.
 */
Json readPairs(const std::vector<std::string>& words);

} // namespace zvcamera
