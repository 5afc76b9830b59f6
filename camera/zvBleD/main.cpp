#include "bleDaemon.h"
#include "daemon.h"

int main(int argc, char** argv) {
    using namespace zvcamera;
    return daemonMain(argc, argv, "zvBleD",
                      [](EventLoop& loop, const DaemonOptions& options, const Scenario& scenario) {
                          AdminServer admin(loop, options.adminSocket("zvBleD"));
                          BleDaemon daemon(loop, admin, options.storage + "/MISC/ble_whitelist.json",
                                           scenario.part("ble"), scenario.part("faults"));
                          loop.run();
                      });
}
