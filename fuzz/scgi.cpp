// Bytes that come over a connection of the resident program: a netstring, and the variables in it.
#include "fuzzInput.h"
#include "scgiHeader.h"

#include <cstring>
#include <string_view>

namespace {

using zvfuzz::Input;
using zvfuzz::require;

using Progress = ScgiFrame::Progress;

// The same bytes, one after the other: what has been decided once stays, and is what all of them say.
void arriveOneByOne(std::string_view bytes, const ScgiFrame& whole) {
    for (std::size_t size = 0; size <= bytes.size(); ++size) {
        const ScgiFrame frame = findScgiHeader(bytes.substr(0, size));
        if (frame.progress != Progress::Part) {
            require(frame.progress == whole.progress, "bytes that follow change what a header is");
            return;
        }
    }
    require(whole.progress == Progress::Part, "a header is found at once, and not when it arrives in pieces");
}

void checkEnvironment(std::string header) {
    const std::string before = header;
    char* variables[16];
    std::size_t length = 0;
    if (makeScgiEnvironment(header, variables, length) != nullptr) {
        return;
    }
    std::size_t at = 0;
    for (char** variable = variables; *variable != nullptr; ++variable) {
        require(variable < variables + 15, "more variables than there is room for");
        require(*variable == header.data() + at, "variables do not follow each other");
        const std::size_t name = std::strlen(before.data() + at);
        const std::size_t value = std::strlen(before.data() + at + name + 1);
        require(std::strlen(*variable) == name + 1 + value, "a text is not its name and its value");
        require(name > 0 && std::strchr(*variable, '=') == *variable + name, "a name has no end");
        at += name + value + 2;
    }
    require(at == header.size(), "something of a header is in no variable");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const bool bare = (input.byte() & 1U) != 0; // variables without a netstring around them
    const std::string bytes = input.rest();
    if (bare) {
        checkEnvironment(bytes);
        return 0;
    }
    const ScgiFrame frame = findScgiHeader(bytes);
    arriveOneByOne(bytes, frame);
    if (frame.progress == Progress::Whole) {
        require(frame.size > 0 && frame.begin + frame.size < bytes.size(), "a header does not lie in its bytes");
        checkEnvironment(bytes.substr(frame.begin, frame.size));
    }
    return 0;
}
