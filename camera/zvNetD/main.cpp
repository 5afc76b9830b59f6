#include "daemon.h"
#include "netDaemon.h"

int main(int argc, char** argv) {
    using namespace zvcamera;
    return daemonMain(argc, argv, "zvNetD",
                      [](EventLoop& loop, const DaemonOptions& options, const Scenario& scenario) {
                          AdminServer admin(loop, options.adminSocket("zvNetD"));
                          NetDaemon daemon(loop, admin, options.runDir, scenario.part("faults"));
                          loop.run();
                      });
}
