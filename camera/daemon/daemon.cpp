#include "daemon.h"

#include "log.h"

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
    if (const std::optional<int> end = readOptions(argc, argv, name, options)) {
        return *end;
    }
    if (options.checked) {
        return checkScenario(*options.checked, program);
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
