#include "bleDaemon.h"
#include "daemon.h"

using namespace zvcamera;

namespace {

void check(const Scenario& scenario) {
    Radio radio;
    setUpRadio(radio, scenario.part("ble"));
    readFaultRules(scenario.part("faults"));
}

void serve(EventLoop& loop, const DaemonOptions& options, const Scenario& scenario) {
    AdminServer admin(loop, options.adminSocket("zvBleD"));
    const BleDaemon daemon(loop, admin, options.storage + "/MISC/ble_whitelist.json", scenario.part("ble"),
                           scenario.part("faults"));
    loop.run();
}

} // namespace

int main(int argc, char** argv) {
    return daemonMain(argc, argv, {"zvBleD", check, serve});
}
