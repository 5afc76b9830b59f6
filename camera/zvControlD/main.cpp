// zvControlD: holds the camera's state and collects its analytics.
#include "controlDaemon.h"
#include "daemon.h"

using namespace zvcamera;

namespace {

void check(const Scenario& scenario) {
    CameraState state(scenario);
    readAnalyticsSettings(scenario);
}

void serve(EventLoop& loop, const DaemonOptions& options, const Scenario& scenario) {
    const ControlDaemon daemon(loop, options, scenario);
    loop.run();
}

} // namespace

int main(int argc, char** argv) {
    return daemonMain(argc, argv, {"zvControlD", check, serve});
}
