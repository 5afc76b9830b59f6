/*
 * The header of an SCGI request: a netstring of variables. Each is a name and a value, and both end with a zero byte.
 */
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

/* Bytes of the longest header that is taken. One variable of a CGI program has 128 KiB at most. */
inline constexpr std::size_t scgiHeaderMost = 256UL * 1024;

/* Bytes of a longest netstring: six digits and a colon before its content, a comma behind it. */
inline constexpr std::size_t scgiNetstringMost = 6 + 1 + scgiHeaderMost + 1;

/* Where a header stands in the bytes that have arrived. */
struct ScgiFrame {
    enum class Progress { Part, Whole, Malformed };
    Progress progress = Progress::Part;
    std::size_t begin = 0; // of the variables
    std::size_t size = 0;  // of the variables; a comma follows them
};

/* Finds the header at the beginning of the bytes. Malformed as soon as they cannot begin a header any more. */
ScgiFrame findScgiHeader(std::string_view arrived);

/*
 * Makes an environment of a header's variables, in their place: "NAME=VALUE" texts, in their order, and a null pointer
 * behind the last one. Puts the body's length into bodyLength.
 *
 * Null; or what is wrong with the header: a name that is empty or has a "=" in it, more variables than there is room
 * for, no "SCGI" of value "1", no "CONTENT_LENGTH" that is a number. Of several variables of one name the first counts,
 * as it does in an environment.
 */
const char* makeScgiEnvironment(std::span<char> header, std::span<char*> environment, std::size_t& bodyLength);
