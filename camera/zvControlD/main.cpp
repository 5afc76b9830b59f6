// zvControlD: holds the camera's state and collects its analytics.
#include "controlDaemon.h"
#include "daemon.h"

int main(int argc, char** argv) {
    using namespace zvcamera;
    return daemonMain(argc, argv, "zvControlD",
                      [](EventLoop& loop, const DaemonOptions& options, const Scenario& scenario) {
                          const ControlDaemon daemon(loop, options, scenario);
                          loop.run();
                      });
}
