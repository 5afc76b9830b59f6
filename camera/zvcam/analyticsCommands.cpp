// analytics ...: the file that zvControlD collects.
#include "groups.h"

namespace zvcamera {
namespace {

void ask(Tool& tool, const std::string& action, Json arguments) {
    arguments["action"] = action;
    tool.print(tool.call("zvControlD", "analytics", std::move(arguments)));
}

// A subcommand that has nothing to add to its name.
void addPlain(CLI::App& app, Tool& tool, const std::string& name, const std::string& description) {
    app.add_subcommand(name, description)->callback([&tool, name] {
        tool.does([&tool, name] { ask(tool, name, Json::object()); });
    });
}

void addOn(CLI::App& app, Tool& tool) {
    auto* command = app.add_subcommand("on", "Collect: append a record again and again");
    auto interval = std::make_shared<std::optional<int>>();
    command->add_option("--interval-ms", *interval, "Milliseconds between records, 10 to 3600000");
    command->callback([&tool, interval] {
        tool.does([&tool, interval] {
            ask(tool, "on", *interval ? Json{{"interval_ms", **interval}} : Json::object());
        });
    });
}

// A subcommand that takes a number of bytes, which its action calls by the same name.
void addBytes(CLI::App& app, Tool& tool, const std::string& name, const std::string& description) {
    auto* command = app.add_subcommand(name, description);
    auto bytes = std::make_shared<std::int64_t>(0);
    command->add_option("bytes", *bytes)->required();
    command->callback([&tool, name, bytes] { tool.does([&tool, name, bytes] { ask(tool, name, {{name, *bytes}}); }); });
}

void addAppend(CLI::App& app, Tool& tool) {
    auto* command = app.add_subcommand("append", "Append records, or bytes");
    auto records = std::make_shared<int>(1);
    auto hex = std::make_shared<std::string>();
    auto* count = command->add_option("records", *records, "How many")->capture_default_str();
    command->add_option("--hex", *hex, "These bytes instead, two digits each")->excludes(count);
    command->callback([&tool, records, hex] {
        tool.does([&tool, records, hex] {
            ask(tool, "append", hex->empty() ? Json{{"records", *records}} : Json{{"hex", *hex}});
        });
    });
}

void addPath(CLI::App& app, Tool& tool) {
    auto* command = app.add_subcommand("path", "Show the path that is answered for the file, or answer another one");
    auto path = std::make_shared<std::string>();
    auto own = std::make_shared<bool>(false);
    auto* given = command->add_option("path", *path);
    command->add_flag("--own", *own, "Answer the file's own path again")->excludes(given);
    command->callback([&tool, path, own] {
        tool.does([&tool, path, own] {
            const bool change = *own || !path->empty();
            const Json answer =
                tool.call("zvControlD", "analytics",
                          change ? Json{{"action", "path"}, {"path", *path}} : Json{{"action", "status"}});
            tool.print(answer.at("path"));
        });
    });
}

void addOnClear(CLI::App& app, Tool& tool) {
    auto* command = app.add_subcommand("on-clear", "What clearing does: empty the file, remove it or keep it as it is");
    auto what = std::make_shared<std::string>();
    command->add_option("what", *what)->required()->check(CLI::IsMember({"empty", "remove", "keep"}));
    command->callback([&tool, what] { tool.does([&tool, what] { ask(tool, "on_clear", {{"what", *what}}); }); });
}

} // namespace

void addAnalyticsCommands(CLI::App& app, Tool& tool) {
    auto* group = app.add_subcommand("analytics", "The analytics file");
    group->require_subcommand(1);
    addPlain(*group, tool, "status", "Show all about it");
    addOn(*group, tool);
    addPlain(*group, tool, "off", "Collect no more");
    addBytes(*group, tool, "size", "Make the file exactly this long, and collect no more");
    addBytes(*group, tool, "limit", "Let collecting not grow the file beyond this");
    addAppend(*group, tool);
    addPlain(*group, tool, "clear", "Clear it, as a client's request does");
    addOnClear(*group, tool);
    addPath(*group, tool);
}

} // namespace zvcamera
