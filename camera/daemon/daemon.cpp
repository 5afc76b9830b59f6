#include "daemon.h"

#include "log.h"

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>

namespace zvcamera {
namespace {

int checkScenario(const std::string& path, const DaemonProgram& program) {
    try {
        const Scenario scenario = Scenario::load(path);
        try {
            program.check(scenario);
        } catch (const std::exception& error) {
            throw JsonError(path + ": " + error.what());
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}

} // namespace

int daemonMain(int argc, char** argv, const DaemonProgram& program) {
    const char* name = program.name;
    DaemonOptions options;
    std::string checked;
    CLI::App app("A daemon of the simulated camera.", name);
    app.add_option("--check", checked, "Only read this scenario, and say what is wrong with it");
    app.add_option("--scenario", options.scenarioFile, "Scenario file (JSON)");
    app.add_option("--run-dir", options.runDir, "Folder of the daemons' sockets")->capture_default_str();
    app.add_option("--storage", options.storage, "The camera's storage")->capture_default_str();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    if (app.count("--check") > 0) {
        return checkScenario(checked, program);
    }
    openLog(name);
    try {
        EventLoop loop;
        const Scenario scenario = options.scenarioFile.empty() ? Scenario() : Scenario::load(options.scenarioFile);
        program.serve(loop, options, scenario);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", name, error.what());
        logError("%s", error.what());
        return 1;
    }
    return 0;
}

} // namespace zvcamera
