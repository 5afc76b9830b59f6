// The operations that the camera's tool asks of zvControlD.
#include "control.h"
#include "hexText.h"
#include "log.h"

namespace zvcamera {
namespace {

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

} // namespace

void Control::addOperations() {
    admin_.on("show", [this](const Json& request) { return show(request); });
    admin_.on("set", [this](const Json& request) { return set(request); });
    admin_.on("fail", [this](const Json& request) { return fail(request); });
    admin_.on("unfail", [this](const Json& request) { return unfail(request); });
    admin_.on("analytics", [this](const Json& request) { return analytics(request); });
}

// Everything, or with "item" the value of one.
Json Control::show(const Json& request) const {
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

Json Control::set(const Json& request) {
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

Json Control::fail(const Json& request) {
    Arguments arguments(request);
    const std::string item = arguments.requiredText("item");
    const auto code = static_cast<std::int32_t>(arguments.requiredNumber("code", INT32_MIN, -1));
    arguments.finish();
    state_.fail(item, code);
    logInfo("%s fails with %d", item.c_str(), static_cast<int>(code));
    return state_.toJson().at("failures");
}

Json Control::unfail(const Json& request) {
    Arguments arguments(request);
    const std::string item = arguments.requiredText("item");
    arguments.finish();
    state_.unfail(item);
    return state_.toJson().at("failures");
}

// Actions: status; on (interval_ms); off; size (size); limit (limit); append (records or hex); clear; path (path, empty
// for the file's own); on_clear (what).
Json Control::analytics(const Json& request) {
    Arguments arguments(request);
    const std::string action = arguments.requiredText("action");
    if (action == "on") {
        std::int64_t interval = 0;
        arguments.number("interval_ms", interval, 10, 3600000);
        arguments.finish();
        analytics_.collect(std::chrono::milliseconds(interval));
    } else if (action == "size") {
        const std::int64_t size = arguments.requiredNumber("size", 0, Analytics::maxSize);
        arguments.finish();
        analytics_.setSize(size);
    } else if (action == "limit") {
        const std::int64_t limit = arguments.requiredNumber("limit", 0, Analytics::maxSize);
        arguments.finish();
        analytics_.setLimit(limit);
    } else if (action == "append") {
        std::string hex;
        const bool raw = arguments.text("hex", hex);
        const std::int64_t records = raw ? 0 : arguments.requiredNumber("records", 0, 100000);
        arguments.finish();
        raw ? analytics_.append(fromHex(hex)) : analytics_.appendRecords(static_cast<std::size_t>(records));
    } else if (action == "path") {
        const std::string path = arguments.requiredText("path");
        arguments.finish();
        analytics_.setPath(path);
    } else if (action == "on_clear") {
        const std::string what = arguments.requiredText("what");
        arguments.finish();
        analytics_.setOnClear(what);
    } else {
        arguments.finish();
        if (action == "off") {
            analytics_.stopCollecting();
        } else if (action == "clear") {
            analytics_.clear();
        } else if (action != "status") {
            arguments.fail("action", "is unknown: " + action);
        }
    }
    return analytics_.toJson();
}

} // namespace zvcamera
