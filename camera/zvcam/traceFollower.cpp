#include "traceFollower.h"

#include <algorithm>
#include <poll.h>
#include <vector>

namespace zvcamera {
namespace {

constexpr int reconnectMillis = 500;

Json sorted(Json records) {
    std::stable_sort(records.begin(), records.end(),
                     [](const Json& a, const Json& b) { return a.at("micros") < b.at("micros"); });
    return records;
}

} // namespace

Json TraceFollower::kept() {
    Json all = Json::array();
    tool_.callEach(queueDaemons, "trace", Json::object(), [&](const std::string&, const Json& records) {
        all.insert(all.end(), records.begin(), records.end());
    });
    return sorted(all);
}

void TraceFollower::clear() {
    tool_.callEach(queueDaemons, "trace_clear", Json::object(), [](const std::string&, const Json&) {});
}

void TraceFollower::follow(const Sink& sink) {
    connectMissing(sink);
    if (clients_.empty()) {
        throw NotReachable("no daemon to follow");
    }
    for (;;) {
        waitForMore();
        takeAll(sink);
        connectMissing(sink);
    }
}

void TraceFollower::connectMissing(const Sink& sink) {
    Json records = Json::array();
    for (const char* daemon : queueDaemons) {
        if (clients_.count(daemon) != 0) {
            continue;
        }
        try {
            std::unique_ptr<AdminClient> client = tool_.connect(daemon);
            for (const Json& record : client->call("trace_follow")) {
                records.push_back(record);
            }
            clients_[daemon] = std::move(client);
        } catch (const std::exception&) { // not there, or just going: tried again
        }
    }
    for (const Json& record : sorted(records)) {
        sink(record);
    }
}

void TraceFollower::waitForMore() const {
    std::vector<pollfd> polled;
    for (const auto& [daemon, client] : clients_) {
        polled.push_back({client->fd(), POLLIN, 0});
    }
    poll(polled.data(), polled.size(), reconnectMillis);
}

void TraceFollower::takeAll(const Sink& sink) {
    Json records = Json::array();
    std::erase_if(clients_, [&](const auto& entry) {
        try {
            for (Json record; !(record = entry.second->nextEvent(std::chrono::milliseconds(0))).is_null();) {
                records.push_back(record);
            }
            return false;
        } catch (const std::exception&) { // ended
            return true;
        }
    });
    for (const Json& record : sorted(records)) {
        sink(record);
    }
}

} // namespace zvcamera
