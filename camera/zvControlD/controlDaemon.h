// What zvControlD does: answers the control libraries and the camera's tool from one state.
#pragma once

#include "adminServer.h"
#include "analytics.h"
#include "cameraState.h"
#include "controlServer.h"
#include "daemon.h"
#include "openings.h"

namespace zvcamera {

class ControlDaemon {
public:
    // Serves from now on. Throws JsonError for a faulty scenario, std::exception when the sockets cannot be made.
    ControlDaemon(EventLoop& loop, const DaemonOptions& options, const Scenario& scenario);

private:
    ControlAnswer handle(const zvcontrol::Request& request, pid_t peer);
    ControlAnswer read(const zvcontrol::Request& request) const;
    ControlAnswer write(const zvcontrol::Request& request);
    ControlAnswer command(std::int32_t command);

    // The tool's operations: {"op":"show"|"set"|"fail"|"unfail"}, {"op":"analytics","action":...} and
    // {"op":"openings"}.
    void addOperations();
    Json show(const Json& request) const;
    Json set(const Json& request);
    Json fail(const Json& request);
    Json unfail(const Json& request);
    Json analytics(const Json& request);

    CameraState state_;
    Openings openings_;
    Analytics analytics_;
    ControlServer server_;
    AdminServer admin_;
};

} // namespace zvcamera
