/*
 * A daemon's queue: reads and checks requests, answers them without ever waiting, spoils replies by fault rules, traces
 * every message, and serves the admin operations for faults and trace.
 *
 * A message is logged and skipped when it has more than 1500 bytes, is malformed or is no request. So is a reply when
 * its queue is full or absent, or its name is no queue's name.
 *
 * Admin operations: fault_list, fault_add {a rule}, fault_remove {id}, fault_clear, trace {after}, trace_follow {after}
 * (a subscription), trace_clear, queue (counts).
 */
#pragma once

#include "adminServer.h"
#include "eventLoop.h"
#include "faults.h"
#include "queue.h"
#include "tlv.h"
#include "traceRing.h"

#include <functional>
#include <string>

namespace zvcamera {

struct QueueRequest {
    Bytes raw;
    Message message;
    std::string tag;         // of the command
    Bytes data;              // of the data element; empty without one
    std::string destination; // empty without such an element
    std::string replyQueue;  // empty when the request names none, or no queue's name
    RequestInfo info;
};

class QueueService {
public:
    using Handler = std::function<void(const QueueRequest&)>;
    // Whether this daemon takes the scenario's fault rules for this command or for "*".
    using OwnCommand = std::function<bool(const std::string& command)>;

    QueueService(EventLoop& loop, AdminServer& admin, const char* daemon, const std::string& queue);
    ~QueueService();

    // Serves the queue from now on.
    void start(Handler handler);
    // Takes those rules of the scenario's "faults" that are for this daemon; throws JsonError. seed: the scenario's.
    void loadFaults(const Json& rules, std::uint64_t seed, const OwnCommand& own);

    // The faults of the reply to a request. To be called once, before the request is carried out.
    PlannedFaults planFaults(const QueueRequest& request) { return faults_.plan(request.info); }
    void reply(const QueueRequest& request, const PlannedFaults& planned, Status status, const Bytes& data = {});

    // Traces a request that was, or was not, passed on to another queue at the given time.
    void traceForwarded(const std::string& queue, const QueueRequest& request, const std::string& note,
                        std::int64_t time);
    void countForwarded() { ++forwarded_; }

private:
    static constexpr int messagesPerRound = 16;
    static constexpr std::size_t lateLimit = 256;

    void addOperations();
    void readQueue();
    void handle(Bytes raw);
    std::string check(QueueRequest& request);
    void send(const std::string& queue, const std::string& command, const Outgoing& out);
    // replyQueue: whose request the message belongs to.
    void trace(TraceRecord record, const std::string& replyQueue);
    Json counts() const;

    EventLoop& loop_;
    AdminServer& admin_;
    OwnedQueue queue_;
    FaultTable faults_;
    TraceRing trace_;
    Handler handler_;
    std::size_t late_ = 0;
    std::uint64_t received_ = 0;
    std::uint64_t skipped_ = 0;
    std::uint64_t answered_ = 0;
    std::uint64_t unanswered_ = 0;
    std::uint64_t forwarded_ = 0;
};

} // namespace zvcamera
