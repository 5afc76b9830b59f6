#include "groups.h"

namespace zvcamera {
namespace {

// In the order of the help text.
constexpr CommandGroup groups[] = {
    addStateCommands, addAnalyticsCommands, addBleCommands,    addFaultCommands,
    addTraceCommands, addQueueCommands,     addDaemonCommands, addStreamCommands,
};

} // namespace

void addAllGroups(CLI::App& app, Tool& tool) {
    for (const CommandGroup add : groups) {
        add(app, tool);
    }
}

} // namespace zvcamera
