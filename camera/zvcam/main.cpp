// zvcam: shows and changes the state of a running camera.
#include "tool.h"

#include <cstdio>
#include <exception>

int main(int argc, char** argv) try {
    CLI::App app("Shows and changes a running camera.", "zvcam");
    app.require_subcommand(1);
    app.fallthrough();
    app.footer("Exit status: 0 done, 1 refused by the camera, 2 wrong command line, 3 no camera to talk to.");
    zvcamera::Tool tool(app);
    zvcamera::addAllGroups(app, tool);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? zvcamera::exitOk : zvcamera::exitUsage;
    }
    return tool.act();
} catch (const std::exception& error) {
    std::fprintf(stderr, "zvcam: %s\n", error.what());
    return zvcamera::exitRefused;
}
