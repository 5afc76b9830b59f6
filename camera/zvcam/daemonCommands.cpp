// daemon ...: the camera's programs; log: what they say. By way of the supervisor.
#include "groups.h"
#include "printable.h"

#include <cstdio>
#include <thread>

namespace zvcamera {
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

void printRecord(const Tool& tool, const Json& record) {
    if (tool.json()) {
        tool.print(record);
        return;
    }
    std::string text = record.value("text", "");
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    const std::string line = printable(record.value("source", "") + ": " + text) + "\n";
    std::fwrite(line.data(), 1, line.size(), stdout);
}

// Prints the records from number `since` on; with follow, also those to come, until the camera ends.
void printLog(Tool& tool, std::int64_t since, bool follow) {
    const auto supervisor = tool.connect("supervisor");
    for (;;) {
        const Json answer = supervisor->call("log", {{"since", since}});
        for (const Json& record : answer.at("records")) {
            printRecord(tool, record);
        }
        std::fflush(stdout);
        if (!follow) {
            return;
        }
        since = answer.at("next").get<std::int64_t>();
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
}

void addLog(CLI::App& app, Tool& tool) {
    auto* command = app.add_subcommand("log", "Print the log of the camera's programs");
    auto since = std::make_shared<std::int64_t>(0);
    auto follow = std::make_shared<bool>(false);
    command->add_option("--since", *since, "Leave out this many lines")->capture_default_str();
    command->add_flag("-f,--follow", *follow, "Go on with the lines to come");
    command->callback(
        [&tool, since, follow] { tool.does([&tool, since, follow] { printLog(tool, *since, *follow); }); });
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
    addLog(app, tool);
}

} // namespace zvcamera
