// zvNetD's talk with zvControlD: setting a camera state item without ever waiting in the daemon's loop.
#pragma once

#include "eventLoop.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace zvcamera {

class ControlLink {
public:
    using Done = std::function<void(bool done)>;
    static constexpr std::chrono::milliseconds answerTime{5000};
    static constexpr std::size_t pendingLimit = 64;

    // runDir: where zvControlD's socket is.
    ControlLink(EventLoop& loop, const std::string& runDir);
    ~ControlLink();
    ControlLink(const ControlLink&) = delete;
    ControlLink& operator=(const ControlLink&) = delete;

    // Sets an item. Calls `done` exactly once, possibly before this returns: with true when zvControlD has set the
    // item, with false when it is absent, refuses, or does not answer within answerTime.
    void setItem(std::int32_t item, std::int32_t value, Done done);

private:
    struct Pending {
        zv::UniqueFd fd;
        EventLoop::TimerId timer;
        Done done;
    };

    void answered(std::uint64_t id);
    void finish(std::uint64_t id, bool done);

    EventLoop& loop_;
    std::string path_;
    std::map<std::uint64_t, Pending> pending_;
    std::uint64_t last_ = 0;
};

} // namespace zvcamera
