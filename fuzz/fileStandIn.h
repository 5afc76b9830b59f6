// One file without a disk: what is opened below /usr/local/zarvo is this file, in the programs that link it.
#pragma once

#include <cstddef>
#include <string>

namespace zvfuzz {

struct FileStandIn {
    bool exists = true;
    std::string content;
    std::size_t piece = 4096; // the most bytes that a read gives
};

FileStandIn& file();

} // namespace zvfuzz
