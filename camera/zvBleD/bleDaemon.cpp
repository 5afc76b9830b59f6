#include "bleDaemon.h"

#include "commandNames.h"
#include "log.h"
#include "quoteText.h"
#include "radioCommands.h"
#include "whitelistFile.h"

namespace zvcamera {
namespace {

constexpr const char* ownQueue = "/to_ble";
constexpr std::size_t shownTag = 16; // as much of an unknown tag as is logged

} // namespace

BleDaemon::BleDaemon(EventLoop& loop, AdminServer& admin, std::string whitelistFile, const Json& ble,
                     const Json& faults)
    : loop_(loop),
      file_(std::move(whitelistFile)),
      radioAdmin_{radio_, ble, [this] { return now(); }, [this] { saveFile(); }},
      service_(loop, admin, "zvBleD", ownQueue) {
    setUpRadio(radio_, ble);
    loadFile();
    saved_ = radio_.whitelist.revision();
    service_.loadFaults(faults, radio_.settings.seed,
                        [](const std::string& command) { return !isPairingStateCommand(command); });
    radioAdmin_.addOperations(admin);
    service_.start([this](const QueueRequest& request) { handle(request); });
    onTick();
}

BleDaemon::~BleDaemon() {
    loop_.cancelTimer(timer_);
}

Millis BleDaemon::now() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(EventLoop::Clock::now() - start_).count();
}

void BleDaemon::handle(const QueueRequest& request) {
    const PlannedFaults planned = service_.planFaults(request);
    if (request.tag != bleTag) {
        logError("%s: unknown command %s", ownQueue, quoteText(request.tag.substr(0, shownTag)).c_str());
        service_.reply(request, planned, Status::UnknownCommand);
        return;
    }
    const Millis time = now();
    if (planned.idShift != 0) {
        radio_.advance(time); // now: losing a device later would change the id once more
        rebuildList(radio_, request.info.command, planned.idShift);
    }
    CommandResult result{Status::UnknownCommand, {}};
    if (!planned.refused()) {
        result = runCommand(radio_, request.data, time);
        saveFile();
    }
    if (result.status != Status::Ok) {
        logInfo("%s: BLE command %d: %s", ownQueue, request.data.empty() ? -1 : request.data[0],
                planned.refused() ? "refused by a fault" : toText(result.status));
    }
    service_.reply(request, planned, result.status, result.data);
}

void BleDaemon::loadFile() {
    try {
        if (std::optional<KeptWhitelist> kept = loadWhitelist(file_)) {
            radio_.autoConnect = kept->autoConnect;
            radio_.whitelist.assign(std::move(kept->slots));
            logInfo("whitelist of %zu slots from %s", radio_.whitelist.slots().size(), file_.c_str());
        }
    } catch (const JsonError& error) {
        logError("whitelist not read, %s", error.what());
    }
}

void BleDaemon::saveFile() {
    if (saved_ == radio_.whitelist.revision()) {
        return;
    }
    // Set even when saving fails, so that a full or absent storage is logged once a change, not ten times a second.
    saved_ = radio_.whitelist.revision();
    try {
        saveWhitelist(file_, {radio_.autoConnect, radio_.whitelist.slots()});
    } catch (const std::exception& error) {
        logError("whitelist not saved, %s", error.what());
    }
}

void BleDaemon::onTick() {
    radio_.advance(now());
    saveFile();
    timer_ = loop_.addTimer(tick, [this] { onTick(); });
}

} // namespace zvcamera
