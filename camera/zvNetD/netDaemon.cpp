#include "netDaemon.h"

#include "commandNames.h"
#include "csi.h"
#include "log.h"
#include "quoteText.h"

#include <nlohmann/json.hpp>

namespace zvcamera {
namespace {

constexpr const char* ownQueue = "/to_zvnet";
constexpr const char* bleQueue = "/to_ble";
constexpr std::int32_t pairingStarted = 1;
constexpr std::int32_t pairingEnded = 0;
// As much of an unknown destination and tag as is logged.
constexpr std::size_t shownDestination = 40;
constexpr std::size_t shownTag = 16;

} // namespace

NetDaemon::NetDaemon(EventLoop& loop, AdminServer& admin, const std::string& runDir, const Json& faults,
                     std::uint64_t seed)
    : service_(loop, admin, "zvNetD", ownQueue),
      control_(loop, runDir),
      forwarder_(loop, bleQueue, [this](const QueueRequest& request, SendResult result, std::int64_t time) {
          settled(request, result, time);
      }) {
    service_.loadFaults(faults, seed, [](const std::string& command) {
        return isPairingStateCommand(command) || command == anyCommand;
    });
    admin.on("backlog", [this](const Json&) { return Json(forwarder_.backlog()); });
    service_.start([this](const QueueRequest& request) { handle(request); });
}

void NetDaemon::handle(const QueueRequest& request) {
    if (request.destination == bleQueue) {
        forwarder_.forward(request);
    } else if (request.destination == ownQueue) {
        handleOwn(request);
    } else {
        logError("%s: no route to destination %s", ownQueue,
                 quoteText(request.destination.substr(0, shownDestination)).c_str());
        service_.reply(request, {}, Status::BadParameters);
    }
}

void NetDaemon::settled(const QueueRequest& request, SendResult result, std::int64_t time) {
    if (result == SendResult::Sent) {
        service_.countForwarded();
        service_.traceForwarded(bleQueue, request, toText(result), time);
        return;
    }
    logError("%s: request for %s not passed on: %s", ownQueue, bleQueue, toText(result));
    service_.traceForwarded(bleQueue, request, std::string("not passed on: ") + toText(result), time);
    service_.reply(request, {}, Status::Unreachable);
}

void NetDaemon::handleOwn(const QueueRequest& request) {
    const PlannedFaults planned = service_.planFaults(request);
    if (!isPairingStateCommand(request.info.command)) {
        logError("%s: unknown command %s", ownQueue, quoteText(request.tag.substr(0, shownTag)).c_str());
        service_.reply(request, planned, Status::UnknownCommand);
        return;
    }
    if (planned.refused()) {
        service_.reply(request, planned, Status::UnknownCommand);
        return;
    }
    const std::int32_t state = request.info.command == pairingStartedTag ? pairingStarted : pairingEnded;
    control_.setItem(CSI_AP_PAIRING_STATE, state, [this, request, planned, state](bool done) {
        if (done) {
            logInfo("access point's pairing state is %d", state);
        } else {
            logError("zvControlD did not set the access point's pairing state to %d", state);
        }
        service_.reply(request, planned, done ? Status::Ok : Status::Unreachable);
    });
}

} // namespace zvcamera
