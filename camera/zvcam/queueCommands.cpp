// queue: what the queues of zvNetD and zvBleD have carried.
#include "groups.h"

namespace zvcamera {
namespace {

void showQueues(Tool& tool) {
    Json all = Json::object();
    tool.callEach(queueDaemons, "queue", Json::object(), [&](const std::string& daemon, const Json& counts) {
        all[daemon] = counts;
        if (daemon == "zvNetD") {
            all[daemon]["backlog"] = tool.call(daemon, "backlog");
        }
    });
    tool.print(all);
}

} // namespace

void addQueueCommands(CLI::App& app, Tool& tool) {
    auto* command = app.add_subcommand("queue", "Count what the queues of zvNetD and zvBleD have carried");
    command->callback([&tool] { tool.does([&tool] { showQueues(tool); }); });
}

} // namespace zvcamera
