// How requests and fault rules name commands.
#pragma once

#include "bytes.h"

#include <string>
#include <string_view>

namespace zvcamera {

// Command tags of requests.
constexpr std::string_view bleTag = "BL";
constexpr std::string_view pairingStartedTag = "PD";
constexpr std::string_view pairingEndedTag = "PX";

// In a fault rule: every command of the daemon.
constexpr std::string_view anyCommand = "*";

// True for the two commands that zvNetD carries out itself.
bool isPairingStateCommand(std::string_view name);

// The canonical command of a request: the name of a BLE command, "PD", "PX"; empty for anything else.
std::string commandOf(std::string_view tag, ByteSpan data);

// The canonical command of a fault rule, which names a BLE command by name or code, "PD", "PX" or "*"; empty for
// anything else.
std::string canonicalCommand(const std::string& text);

} // namespace zvcamera
