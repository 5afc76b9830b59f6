// The radio's commands as requests name them.
#pragma once

#include "radio.h"

namespace zvcamera {

struct CommandResult {
    Status status = Status::Ok;
    Bytes data;

    bool operator==(const CommandResult&) const = default;
};

// Carries out the command of a data block ({code, parameters}). A block of another size than its code's is answered
// with BadParameters, an unknown code or an empty block with UnknownCommand; neither changes anything.
CommandResult runCommand(Radio& radio, ByteSpan data, Millis now);

// Rebuilds the list whose pages a command answers: its id grows by `by`. Does nothing for any other command.
void rebuildList(Radio& radio, const std::string& command, std::uint8_t by);

} // namespace zvcamera
