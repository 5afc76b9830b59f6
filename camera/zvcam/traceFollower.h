// The traces of both daemons as they grow.
#pragma once

#include "tool.h"

#include <functional>
#include <map>
#include <memory>
#include <string>

namespace zvcamera {

class TraceFollower {
public:
    using Sink = std::function<void(const Json& record)>;

    explicit TraceFollower(Tool& tool) : tool_(tool) {}

    // What the daemons have kept, in the order of time. A daemon that is not there is named on standard error; throws
    // NotReachable when none is.
    Json kept();
    // Makes them forget it; likewise.
    void clear();

    // Hands over what is kept and then what comes, for ever; a daemon that ends is waited for.
    void follow(const Sink& sink);

private:
    void connectMissing(const Sink& sink);
    void waitForMore() const;
    void takeAll(const Sink& sink);

    Tool& tool_;
    std::map<std::string, std::unique_ptr<AdminClient>> clients_;
};

} // namespace zvcamera
