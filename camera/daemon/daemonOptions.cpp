#include "daemonOptions.h"

#include <cstdio>
#include <getopt.h>

namespace zvcamera {
namespace {

constexpr int exitUsage = 2;

enum Choice { Check = 1, Help, RunDir, ScenarioFile, Storage };

constexpr option table[] = {
    {"check", required_argument, nullptr, Check},     {"help", no_argument, nullptr, Help},
    {"run-dir", required_argument, nullptr, RunDir},  {"scenario", required_argument, nullptr, ScenarioFile},
    {"storage", required_argument, nullptr, Storage}, {},
};

void printHelp(const char* name, const DaemonOptions& options) {
    std::printf("Usage: %s [OPTIONS]\n"
                "A daemon of the simulated camera.\n"
                "\n"
                "  --check FILE     only read this scenario, and say what is wrong with it\n"
                "  --scenario FILE  scenario (JSON)\n"
                "  --run-dir DIR    folder of the daemons' sockets (%s)\n"
                "  --storage DIR    the camera's storage (%s)\n",
                name, options.runDir.c_str(), options.storage.c_str());
}

int wrongUsage(const char* name) {
    std::fprintf(stderr, "%s --help tells the options\n", name);
    return exitUsage;
}

} // namespace

std::optional<int> readOptions(int argc, char** argv, const char* name, DaemonOptions& options) {
    optind = 0; // begin anew, whatever was read before
    for (int choice; (choice = getopt_long(argc, argv, "", table, nullptr)) != -1;) {
        switch (choice) {
        case Check:
            options.checked = optarg;
            break;
        case Help:
            printHelp(name, DaemonOptions());
            return 0;
        case RunDir:
            options.runDir = optarg;
            break;
        case ScenarioFile:
            options.scenarioFile = optarg;
            break;
        case Storage:
            options.storage = optarg;
            break;
        default: // getopt_long has said what is wrong
            return wrongUsage(name);
        }
    }
    if (optind < argc) {
        std::fprintf(stderr, "%s: unexpected: %s\n", name, argv[optind]);
        return wrongUsage(name);
    }
    return std::nullopt;
}

} // namespace zvcamera
