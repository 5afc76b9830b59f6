// zvControlD: holds the camera's state and collects its analytics.
#include "control.h"
#include "daemon.h"

int main(int argc, char** argv) {
    return zvcamera::daemonMain(
        argc, argv, "zvControlD",
        [](zvcamera::EventLoop& loop, const zvcamera::DaemonOptions& options, const zvcamera::Scenario& scenario) {
            const zvcamera::Control control(loop, options, scenario);
            loop.run();
        });
}
