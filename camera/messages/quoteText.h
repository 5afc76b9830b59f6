// Texts of clients in log lines and in the tool's output.
#pragma once

#include <string>
#include <string_view>

namespace zvcamera {

// A text between quotes, with everything that does not print as \xNN.
std::string quoteText(std::string_view text);

} // namespace zvcamera
