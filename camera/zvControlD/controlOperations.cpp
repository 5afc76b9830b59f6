// The operations that the camera's tool asks of zvControlD.
#include "controlDaemon.h"
#include "hexText.h"
#include "log.h"

#include <algorithm>
#include <iterator>

namespace zvcamera {
namespace {

constexpr std::int64_t recordsAtOnce = 100000;

// The request's own keys; "op" has brought it here.
class Arguments : public JsonReader {
public:
    explicit Arguments(const Json& request) : JsonReader(request, "") { any("op"); }

    std::string requiredText(const std::string& key) {
        std::string value;
        if (!text(key, value)) {
            fail(key, "is missing");
        }
        return value;
    }
    std::int64_t requiredNumber(const std::string& key, std::int64_t low, std::int64_t high) {
        std::int64_t value = 0;
        if (!number(key, value, low, high)) {
            fail(key, "is missing");
        }
        return value;
    }
};

// Each reads all its arguments before it acts.
void showStatus(Arguments& arguments, Analytics&) {
    arguments.finish();
}

void collect(Arguments& arguments, Analytics& analytics) {
    std::int64_t interval = 0;
    arguments.number("interval_ms", interval, Analytics::shortestInterval, Analytics::longestInterval);
    arguments.finish();
    analytics.collect(std::chrono::milliseconds(interval));
}

void stopCollecting(Arguments& arguments, Analytics& analytics) {
    arguments.finish();
    analytics.stopCollecting();
}

void clear(Arguments& arguments, Analytics& analytics) {
    arguments.finish();
    analytics.clear();
}

void setSize(Arguments& arguments, Analytics& analytics) {
    const std::int64_t size = arguments.requiredNumber("size", 0, Analytics::maxSize);
    arguments.finish();
    analytics.setSize(size);
}

void setLimit(Arguments& arguments, Analytics& analytics) {
    const std::int64_t limit = arguments.requiredNumber("limit", 0, Analytics::maxSize);
    arguments.finish();
    analytics.setLimit(limit);
}

void append(Arguments& arguments, Analytics& analytics) {
    std::string hex;
    const bool raw = arguments.text("hex", hex);
    const std::int64_t records = raw ? 0 : arguments.requiredNumber("records", 0, recordsAtOnce);
    arguments.finish();
    raw ? analytics.append(fromHex(hex)) : analytics.appendRecords(static_cast<std::size_t>(records));
}

void setPath(Arguments& arguments, Analytics& analytics) {
    const std::string path = arguments.requiredText("path");
    arguments.finish();
    analytics.setPath(path);
}

void setOnClear(Arguments& arguments, Analytics& analytics) {
    const std::string what = arguments.requiredText("what");
    arguments.finish();
    analytics.setOnClear(what);
}

struct AnalyticsAction {
    const char* name;
    void (*run)(Arguments&, Analytics&);
};

// Their arguments: "on" interval_ms; "size" size; "limit" limit; "append" records or hex; "path" path, empty for the
// file's own; "on_clear" what.
constexpr AnalyticsAction analyticsActions[] = {{"status", showStatus}, {"on", collect},     {"off", stopCollecting},
                                                {"size", setSize},      {"limit", setLimit}, {"append", append},
                                                {"clear", clear},       {"path", setPath},   {"on_clear", setOnClear}};

} // namespace

void ControlDaemon::addOperations() {
    admin_.on("show", [this](const Json& request) { return show(request); });
    admin_.on("set", [this](const Json& request) { return set(request); });
    admin_.on("fail", [this](const Json& request) { return fail(request); });
    admin_.on("unfail", [this](const Json& request) { return unfail(request); });
    admin_.on("openings", [this](const Json& request) {
        Arguments(request).finish();
        return openings_.toJson();
    });
    admin_.on("analytics", [this](const Json& request) { return analytics(request); });
}

// Everything, or with "item" the value of one.
Json ControlDaemon::show(const Json& request) const {
    Arguments arguments(request);
    std::string item;
    const bool one = arguments.text("item", item);
    arguments.finish();
    if (one) {
        return state_.value(CameraState::find(item));
    }
    Json all = state_.toJson();
    all["analytics"] = analytics_.toJson();
    return all;
}

Json ControlDaemon::set(const Json& request) {
    Arguments arguments(request);
    const ItemRow& row = CameraState::find(arguments.requiredText("item"));
    const Json* value = arguments.any("value");
    if (value == nullptr) {
        arguments.fail("value", "is missing");
    }
    arguments.finish();
    state_.set(row, *value);
    logInfo("%s is set to %s", row.name, toLine(state_.value(row)).c_str());
    return state_.value(row);
}

Json ControlDaemon::fail(const Json& request) {
    Arguments arguments(request);
    const std::string item = arguments.requiredText("item");
    const auto code = static_cast<std::int32_t>(arguments.requiredNumber("code", INT32_MIN, -1));
    arguments.finish();
    state_.fail(item, code);
    logInfo("%s fails with %d", item.c_str(), static_cast<int>(code));
    return state_.toJson().at("failures");
}

Json ControlDaemon::unfail(const Json& request) {
    Arguments arguments(request);
    const std::string item = arguments.requiredText("item");
    arguments.finish();
    state_.unfail(item);
    return state_.toJson().at("failures");
}

Json ControlDaemon::analytics(const Json& request) {
    Arguments arguments(request);
    const std::string name = arguments.requiredText("action");
    const auto action = std::find_if(std::begin(analyticsActions), std::end(analyticsActions),
                                     [&](const AnalyticsAction& one) { return name == one.name; });
    if (action == std::end(analyticsActions)) {
        arguments.finish();
        arguments.fail("action", "is unknown: " + name);
    }
    action->run(arguments, analytics_);
    return analytics_.toJson();
}

} // namespace zvcamera
