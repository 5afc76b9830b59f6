// daemon ...: the camera's programs, by way of its supervisor.
#include "groups.h"

namespace zvcam {
namespace {

struct Row {
    const char* name;
    const char* description;
};
constexpr Row rows[] = {
    {"stop", "Stop a program where it stands (SIGSTOP)"},
    {"cont", "Let a stopped program go on (SIGCONT)"},
    {"kill", "Kill a program (SIGKILL)"},
    {"term", "End a program (SIGTERM)"},
    {"start", "Start a program that has ended"},
};

// A program may take its time to start or to end.
constexpr std::chrono::seconds patience{40};

void addRow(CLI::App& app, Tool& tool, const Row& row) {
    auto* command = app.add_subcommand(row.name, row.description);
    auto name = std::make_shared<std::string>();
    command->add_option("name", *name, "zvControlD, zvNetD, zvBleD or lighttpd")->required();
    command->callback([&tool, &row, name] {
        tool.does([&tool, &row, name] {
            tool.print({{*name, tool.call("supervisor", row.name, {{"daemon", *name}}, patience)}});
        });
    });
}

} // namespace

void addDaemonCommands(CLI::App& app, Tool& tool) {
    auto* group = app.add_subcommand("daemon", "The camera's programs");
    group->require_subcommand(1);
    group->add_subcommand("status", "Show which programs run")->callback([&tool] {
        tool.does([&tool] { tool.print(tool.call("supervisor", "status")); });
    });
    for (const Row& row : rows) {
        addRow(*group, tool, row);
    }
}

} // namespace zvcam
