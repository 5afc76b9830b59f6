// Messages in words: every field of the bytes, with its place, what it is called and what it says.
#pragma once

#include "bytes.h"

#include <string>
#include <vector>

namespace zvcamera {

struct Field {
    std::size_t offset; // in the message
    int depth;          // 0: of the message, 1: of an element, 2: of an entry
    std::string name;
    std::string value;

    bool operator==(const Field&) const = default;
};

// command: for a reply, the canonical name of the command that it answers, since the reply itself does not say; without
// it its data stay hexadecimal. Malformed messages give the fields that can be read and a last field "malformed".
std::vector<Field> explainMessage(ByteSpan bytes, const std::string& command);

// A message on one line (`request "BL" scan_list`, `reply to scan_list, status 0 (ok)`).
std::string summarizeMessage(ByteSpan bytes, const std::string& command);

} // namespace zvcamera
