/*
 * The network daemon: owns "/to_zvnet" and routes what arrives by its destination element.
 *
 * "/to_ble": the bytes go on unchanged to the BLE daemon's queue. When that daemon is absent, or the backlog of 64
 * messages is full, the client gets "unreachable" (6) at once and need not wait for its time limit.
 * "/to_zvnet": "PD" makes the access point's pairing state 1, "PX" makes it 0. The answer comes when zvControlD has
 * confirmed it; it is "unreachable" when zvControlD does not. Other tags get "unknown command" (1).
 * Any other destination, or none, gets "bad parameters" (2).
 */
#pragma once

#include "controlLink.h"
#include "forwarder.h"
#include "queueService.h"

namespace zvcamera {

class NetDaemon {
public:
    // faults, seed: the scenario's.
    NetDaemon(EventLoop& loop, AdminServer& admin, const std::string& runDir, const Json& faults,
              std::uint64_t seed = 1);

private:
    void handle(const QueueRequest& request);
    void handleOwn(const QueueRequest& request);
    void settled(const QueueRequest& request, SendResult result, std::int64_t time);

    QueueService service_;
    ControlLink control_;
    Forwarder forwarder_;
};

} // namespace zvcamera
