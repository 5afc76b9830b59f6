#include "daemon.h"

#include "log.h"

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>

namespace zvcamera {

int daemonMain(int argc, char** argv, const char* name,
               const std::function<void(EventLoop&, const DaemonOptions&, const Scenario&)>& serve) {
    DaemonOptions options;
    CLI::App app("A daemon of the simulated camera.", name);
    app.add_option("--scenario", options.scenarioFile, "Scenario file (JSON)");
    app.add_option("--run-dir", options.runDir, "Folder of the daemons' sockets")->capture_default_str();
    app.add_option("--storage", options.storage, "The camera's storage")->capture_default_str();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    openLog(name);
    try {
        EventLoop loop;
        const Scenario scenario = options.scenarioFile.empty() ? Scenario() : Scenario::load(options.scenarioFile);
        serve(loop, options, scenario);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", name, error.what());
        logError("%s", error.what());
        return 1;
    }
    return 0;
}

} // namespace zvcamera
