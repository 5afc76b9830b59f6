/*
 * The BLE daemon: owns "/to_ble", answers its requests by the radio, keeps the whitelist in its file.
 *
 * Only the command tag "BL" is known; other tags and unknown codes get "unknown command" (1). A whitelist file that is
 * there at the start replaces the scenario's whitelist. A file that cannot be read is logged, and stays until the first
 * change of the whitelist.
 */
#pragma once

#include "queueService.h"
#include "radioState.h"

namespace zvcamera {

class BleDaemon {
public:
    static constexpr std::chrono::milliseconds tick{100};

    // ble, faults: the scenario's parts. Throws JsonError, std::system_error.
    BleDaemon(EventLoop& loop, AdminServer& admin, std::string whitelistFile, const Json& ble, const Json& faults);
    ~BleDaemon();
    BleDaemon(const BleDaemon&) = delete;
    BleDaemon& operator=(const BleDaemon&) = delete;

private:
    Millis now() const;
    void handle(const QueueRequest& request);
    void loadFile();
    void saveFile();
    void onTick();

    EventLoop& loop_;
    const EventLoop::Clock::time_point start_ = EventLoop::Clock::now();
    std::string file_;
    Radio radio_;
    RadioAdmin radioAdmin_;
    QueueService service_;
    std::uint64_t saved_ = 0; // the whitelist's revision in the file
    EventLoop::TimerId timer_ = 0;
};

} // namespace zvcamera
