// stream ...: the streaming program, which is no daemon: the control program starts and stops it. By way of the
// supervisor.
#include "groups.h"
#include "printable.h"

#include <cstdio>

namespace zvcamera {
namespace {

// What does not end by itself is given time to.
constexpr std::chrono::seconds patience{10};

// As it stands, between quotes when it would be taken for something else otherwise.
std::string wordText(const std::string& word) {
    const std::string shown = printable(word);
    if (!shown.empty() && shown == word && word.find_first_of(" \"\\") == std::string::npos) {
        return word;
    }
    std::string quoted = "\"";
    for (const char c : word) {
        quoted += c == '"' || c == '\\' ? "\\" : "";
        quoted += c;
    }
    return printable(quoted + "\"");
}

std::string wordsText(const Json& words) {
    std::string text;
    for (const Json& word : words) {
        text += (text.empty() ? "  " : " ") + wordText(word.get<std::string>());
    }
    return text;
}

std::string entryText(const Json& entry) {
    const bool start = entry.at("event").get<std::string>() == "start";
    return printable(entry.at("time").get<std::string>()) + "  " + entry.at("pid").dump() +
           (start ? "  start" + wordsText(entry.at("arguments"))
                  : "  end    " + printable(entry.at("reason").get<std::string>()));
}

std::string statusText(const Json& status) {
    std::string text = status.at("running").get<bool>() ? "zvStream runs\n" : "zvStream does not run\n";
    for (const Json& process : status.at("processes")) {
        text += "  " + process.at("pid").dump() + wordsText(process.at("arguments")) + "\n";
    }
    text += status.at("log").empty() ? "log: nothing\n" : "log:\n";
    for (const Json& entry : status.at("log")) {
        text += "  " + entryText(entry) + "\n";
    }
    return text;
}

void ask(Tool& tool, const char* op, const Json& arguments = Json::object()) {
    const Json status = tool.call("supervisor", op, arguments, patience);
    if (tool.json()) {
        tool.print(status);
        return;
    }
    const std::string text = statusText(status);
    std::fwrite(text.data(), 1, text.size(), stdout);
}

} // namespace

void addStreamCommands(CLI::App& app, Tool& tool) {
    auto* group = app.add_subcommand("stream", "The streaming program (alone: what runs, what its log says)");
    group->require_subcommand(0, 1);
    group->callback([&tool, group] {
        if (group->get_subcommands().empty()) {
            tool.does([&tool] { ask(tool, "stream"); });
        }
    });
    auto* start = group->add_subcommand("start", "Start it, once more if it runs; what follows are its arguments");
    // As they stand: none of them is an option of this tool, and no list is read into one.
    start->prefix_command()->fallthrough(false);
    start->callback([&tool, start] {
        tool.does([&tool, start] { ask(tool, "stream_start", {{"arguments", start->remaining()}}); });
    });
    group->add_subcommand("stop", "Stop it, all of it that runs")->callback([&tool] {
        tool.does([&tool] { ask(tool, "stream_stop"); });
    });
}

} // namespace zvcamera
