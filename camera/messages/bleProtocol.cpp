#include "bleProtocol.h"

#include <algorithm>

namespace zvcamera {

const CommandInfo* findCommand(std::uint8_t code) {
    const auto found = std::find_if(bleCommands.begin(), bleCommands.end(), [code](const CommandInfo& info) {
        return static_cast<std::uint8_t>(info.code) == code;
    });
    return found == bleCommands.end() ? nullptr : &*found;
}

const CommandInfo* findCommand(std::string_view nameOrCode) {
    const auto found = std::find_if(bleCommands.begin(), bleCommands.end(), [=](const CommandInfo& info) {
        return nameOrCode == info.name || nameOrCode == std::to_string(static_cast<int>(info.code));
    });
    return found == bleCommands.end() ? nullptr : &*found;
}

const char* toText(Status status) {
    switch (status) {
    case Status::Ok:
        return "ok";
    case Status::UnknownCommand:
        return "unknown command";
    case Status::BadParameters:
        return "bad parameters";
    case Status::Busy:
        return "busy";
    case Status::NotFound:
        return "not found";
    case Status::NoRoom:
        return "no room";
    case Status::Unreachable:
        return "unreachable";
    }
    return "unknown status";
}

const char* toText(PairingStatus status) {
    switch (status) {
    case PairingStatus::Idle:
        return "idle";
    case PairingStatus::Pairing:
        return "pairing";
    case PairingStatus::Paired:
        return "paired";
    case PairingStatus::Failed:
        return "failed";
    case PairingStatus::Cancelled:
        return "cancelled";
    case PairingStatus::TimedOut:
        return "timed out";
    }
    return "unknown status";
}

} // namespace zvcamera
