// zvControlD: holds the camera's state and collects its analytics.
#include "control.h"
#include "daemon.h"

int main(int argc, char** argv) {
    return zvcam::daemonMain(
        argc, argv, "zvControlD",
        [](zvcam::EventLoop& loop, const zvcam::DaemonOptions& options, const zvcam::Scenario& scenario) {
            const zvcam::Control control(loop, options, scenario);
            loop.run();
        });
}
