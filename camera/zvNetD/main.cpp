#include "daemon.h"
#include "netDaemon.h"

using namespace zvcamera;

namespace {

void check(const Scenario& scenario) {
    readFaultRules(scenario.part("faults"));
}

void serve(EventLoop& loop, const DaemonOptions& options, const Scenario& scenario) {
    AdminServer admin(loop, options.adminSocket("zvNetD"));
    const NetDaemon daemon(loop, admin, options.runDir, scenario.part("faults"), scenario.seed());
    loop.run();
}

} // namespace

int main(int argc, char** argv) {
    return daemonMain(argc, argv, {"zvNetD", check, serve});
}
