// The groups of subcommands; each in a source file of its own.
#pragma once

#include "tool.h"

namespace zvcamera {

void addStateCommands(CLI::App& app, Tool& tool);     // show, set, fail, unfail
void addAnalyticsCommands(CLI::App& app, Tool& tool); // analytics ...
void addDaemonCommands(CLI::App& app, Tool& tool);    // daemon ..., log
void addBleCommands(CLI::App& app, Tool& tool);       // ble ...
void addFaultCommands(CLI::App& app, Tool& tool);     // fault ...
void addTraceCommands(CLI::App& app, Tool& tool);     // trace, decode
void addQueueCommands(CLI::App& app, Tool& tool);     // queue
void addStreamCommands(CLI::App& app, Tool& tool);    // stream ...

} // namespace zvcamera
