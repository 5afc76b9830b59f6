#include "queueService.h"

#include "commandNames.h"
#include "log.h"

#include <nlohmann/json.hpp>
#include <poll.h>

namespace zvcamera {

QueueService::QueueService(EventLoop& loop, AdminServer& admin, const char* daemon, const std::string& queue)
    : loop_(loop),
      admin_(admin),
      queue_(queue),
      trace_(daemon) {
    addOperations();
}

QueueService::~QueueService() {
    loop_.removeFd(queue_.fd());
}

void QueueService::start(Handler handler) {
    handler_ = std::move(handler);
    loop_.addFd(queue_.fd(), POLLIN, [this](short) { readQueue(); });
}

void QueueService::loadFaults(const Json& rules, std::uint64_t seed, const OwnCommand& own) {
    faults_.setSeed(seed);
    for (FaultRule& rule : readFaultRules(rules)) {
        if (own(rule.command)) {
            faults_.add(std::move(rule));
        }
    }
}

void QueueService::addOperations() {
    admin_.on("fault_list", [this](const Json&) { return faults_.toJson(); });
    admin_.on("fault_add", [this](const Json& request) {
        Json rule = request;
        rule.erase("op");
        return Json{{"id", faults_.add(readFaultRule(rule, ""))}};
    });
    admin_.on("fault_remove", [this](const Json& request) {
        JsonReader reader(request, "");
        std::uint64_t id = 0;
        if (!reader.number("id", id, 0, INT64_MAX)) {
            reader.fail("id", "missing");
        }
        if (!faults_.remove(id)) {
            throw Refusal("no fault rule with this id");
        }
        return Json();
    });
    admin_.on("fault_clear", [this](const Json&) {
        faults_.clear();
        return Json();
    });
    const auto records = [this](const Json& request) { return trace_.since(request.value("after", std::uint64_t{0})); };
    admin_.on("trace", records);
    admin_.onSubscribe("trace_follow", records);
    admin_.on("trace_clear", [this](const Json&) {
        trace_.clear();
        return Json();
    });
    admin_.on("queue", [this](const Json&) { return counts(); });
}

Json QueueService::counts() const {
    return {{"queue", queue_.name()},    {"received", received_},   {"skipped", skipped_}, {"answered", answered_},
            {"unanswered", unanswered_}, {"forwarded", forwarded_}, {"late", late_},       {"traced", trace_.size()}};
}

void QueueService::readQueue() {
    for (int i = 0; i < messagesPerRound; ++i) {
        std::optional<Bytes> raw = queue_.receive();
        if (!raw) {
            return;
        }
        ++received_;
        handle(std::move(*raw));
    }
}

// Fills in the request; the reason why it cannot be served, or an empty text.
std::string QueueService::check(QueueRequest& request) {
    if (request.raw.size() > clientMessageSize) {
        return "oversized message of " + std::to_string(request.raw.size()) + " bytes";
    }
    DecodedMessage decoded = decodeMessage(request.raw);
    request.message = std::move(decoded.message);
    if (!decoded.problem.empty()) {
        return "malformed message: " + decoded.problem;
    }
    if (request.message.category != categoryRequest) {
        return "message of category " + std::to_string(request.message.category) + " is no request";
    }
    const auto text = [&](std::uint8_t tag) {
        const Element* element = request.message.find(tag);
        return element == nullptr ? std::string() : std::string(element->text());
    };
    request.tag = text(tagCommand);
    request.destination = text(tagDestination);
    request.replyQueue = text(tagReplyQueue);
    if (!validQueueName(request.replyQueue)) {
        request.replyQueue.clear();
    }
    if (const Element* data = request.message.find(tagData)) {
        request.data = data->data;
    }
    request.info = {commandOf(request.tag, request.data), request.data};
    return "";
}

void QueueService::handle(Bytes raw) {
    QueueRequest request;
    request.raw = std::move(raw);
    const std::string problem = check(request);
    TraceRecord record;
    record.in = true;
    record.queue = queue_.name();
    record.command = request.info.command;
    record.note = problem.empty() ? "" : "skipped: " + problem;
    record.bytes = request.raw;
    trace(std::move(record), request.replyQueue);
    if (!problem.empty()) {
        ++skipped_;
        logError("%s: %s skipped", queue_.name().c_str(), problem.c_str());
        return;
    }
    handler_(request);
}

void QueueService::reply(const QueueRequest& request, const PlannedFaults& planned, Status status, const Bytes& data) {
    if (request.replyQueue.empty()) {
        ++unanswered_;
        logError("%s: request without a usable reply queue, no answer", queue_.name().c_str());
        return;
    }
    Outgoing out = applyFaults(planned, request.info, status, data);
    if (out.delay.count() == 0) {
        send(request.replyQueue, request.info.command, out);
    } else if (late_ >= lateLimit) {
        ++unanswered_;
        logError("%s: too many late replies, one dropped", queue_.name().c_str());
    } else {
        ++late_;
        loop_.addTimer(out.delay, [this, queue = request.replyQueue, command = request.info.command, out] {
            --late_;
            send(queue, command, out);
        });
    }
}

void QueueService::send(const std::string& queue, const std::string& command, const Outgoing& out) {
    // Before it is sent: the receiver's own record must not seem older.
    const std::int64_t time = wallClock();
    std::string note = "not sent";
    if (!out.missing) {
        const SendResult result = sendWithoutWaiting(queue, out.bytes);
        note = toText(result);
        if (result != SendResult::Sent) {
            logError("%s: no answer to %s: %s", queue_.name().c_str(), queue.c_str(), toText(result));
        }
        ++(result == SendResult::Sent ? answered_ : unanswered_);
    }
    TraceRecord record;
    record.time = time;
    record.queue = queue;
    record.command = command;
    record.note = note + (out.faults.empty() ? "" : ", faults: " + out.faults);
    record.bytes = out.bytes;
    trace(std::move(record), queue);
}

void QueueService::traceForwarded(const std::string& queue, const QueueRequest& request, const std::string& note,
                                  std::int64_t time) {
    TraceRecord record;
    record.time = time;
    record.queue = queue;
    record.command = request.info.command;
    record.note = note;
    record.bytes = request.raw;
    trace(std::move(record), request.replyQueue);
}

void QueueService::trace(TraceRecord record, const std::string& replyQueue) {
    record.pid = processOf(replyQueue);
    const TraceRecord& kept = trace_.add(std::move(record));
    if (admin_.hasSubscribers("trace_follow")) {
        admin_.publish("trace_follow", toJson(kept));
    }
}

} // namespace zvcamera
