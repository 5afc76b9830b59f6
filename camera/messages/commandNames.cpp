#include "commandNames.h"

#include "bleProtocol.h"

namespace zvcamera {

bool isPairingStateCommand(std::string_view name) {
    return name == pairingStartedTag || name == pairingEndedTag;
}

std::string commandOf(std::string_view tag, ByteSpan data) {
    if (isPairingStateCommand(tag)) {
        return std::string(tag);
    }
    const CommandInfo* info = tag == bleTag && !data.empty() ? findCommand(data[0]) : nullptr;
    return info == nullptr ? "" : info->name;
}

std::string canonicalCommand(const std::string& text) {
    if (text == anyCommand || isPairingStateCommand(text)) {
        return text;
    }
    const CommandInfo* info = findCommand(text);
    return info == nullptr ? "" : info->name;
}

} // namespace zvcamera
