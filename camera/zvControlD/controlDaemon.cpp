#include "controlDaemon.h"

#include "log.h"
#include "zvCtrlD.h"
#include "zvErrno.h"

namespace zvcamera {

using zvcontrol::Operation;

ControlDaemon::ControlDaemon(EventLoop& loop, const DaemonOptions& options, const Scenario& scenario)
    : state_(scenario),
      analytics_(loop, options.storage + "/analytics/analytics.bin", scenario),
      server_(loop, options.runDir + "/" + zvcontrol::socketName,
              [this](const zvcontrol::Request& request, pid_t peer) { return handle(request, peer); }),
      admin_(loop, options.adminSocket("zvControlD")) {
    addOperations();
}

ControlAnswer ControlDaemon::handle(const zvcontrol::Request& request, pid_t peer) {
    switch (request.operation) {
    case Operation::Open:
        openings_.add(request.param, peer);
        return {state_.failure("uri_interface_open"), {}};
    case Operation::Close:
        return {state_.failure("uri_interface_close"), {}};
    case Operation::Command:
        return command(request.number);
    case Operation::GetState:
    case Operation::GetItem:
        return read(request);
    case Operation::SetItem:
        return write(request);
    }
    return {ZV_ERR_NOT_SUPPORTED, {}};
}

ControlAnswer ControlDaemon::read(const zvcontrol::Request& request) const {
    const ItemRow* row = CameraState::find(request.operation, request.number);
    if (row == nullptr) {
        return {ZV_ERR_INVALID_PARAM, {}};
    }
    const std::int32_t failure = state_.failure(row->name);
    return failure != ZV_OK ? ControlAnswer{failure, {}} : ControlAnswer{ZV_OK, state_.bytes(*row)};
}

ControlAnswer ControlDaemon::write(const zvcontrol::Request& request) {
    const ItemRow* row = CameraState::find(Operation::GetItem, request.number);
    if (row == nullptr) {
        return {ZV_ERR_INVALID_PARAM, {}};
    }
    const std::int32_t value = zvcontrol::takeNumber(request.param.first<4>());
    state_.set(*row, value);
    logInfo("%s is set to %d", row->name, static_cast<int>(value));
    return {};
}

ControlAnswer ControlDaemon::command(std::int32_t command) {
    switch (command) {
    case ZVCONTROL_CMD_ANALYTICS_GET: {
        const std::int32_t failure = state_.failure("analytics_get");
        const std::string& path = analytics_.path();
        return failure != ZV_OK ? ControlAnswer{failure, {}} : ControlAnswer{ZV_OK, {path.begin(), path.end()}};
    }
    case ZVCONTROL_CMD_ANALYTICS_CLEAR: {
        const std::int32_t failure = state_.failure("analytics_clear");
        if (failure != ZV_OK) {
            return {failure, {}};
        }
        try {
            analytics_.clear();
            logInfo("analytics cleared");
        } catch (const std::exception& error) {
            logError("analytics: %s", error.what());
            return {ZV_ERR_FILE_WRITE, {}};
        }
        return {};
    }
    default:
        logError("unknown command %d", static_cast<int>(command));
        return {ZV_ERR_NOT_SUPPORTED, {}};
    }
}

} // namespace zvcamera
