#include "tool.h"

#include "runFolder.h"
#include "scenario.h"

#include <cstdio>
#include <system_error>

namespace zvcamera {
namespace {

std::string scalarText(const Json& value) {
    if (value.is_string()) {
        return value.get<std::string>();
    }
    return value.is_null() ? "none" : toLine(value);
}

bool nested(const Json& value) {
    return value.is_structured() && !value.empty();
}

std::string objectText(const Json& object, const std::string& indent) {
    std::size_t width = 0;
    for (const auto& member : object.items()) {
        width = nested(member.value()) ? width : std::max(width, member.key().size());
    }
    std::string text;
    for (const auto& member : object.items()) {
        text += indent + member.key();
        if (nested(member.value())) {
            text += "\n" + toText(member.value(), indent + "  ");
        } else {
            const std::string value = member.value().is_structured() ? "none" : scalarText(member.value());
            text += std::string(width - member.key().size() + 2, ' ') + value + "\n";
        }
    }
    return text;
}

} // namespace

std::string toText(const Json& result, const std::string& indent) {
    if (result.is_object()) {
        return objectText(result, indent);
    }
    if (!result.is_array()) {
        return indent + scalarText(result) + "\n";
    }
    std::string text;
    for (const Json& item : result) {
        text += item.is_structured() ? toText(item, indent) + "\n" : indent + scalarText(item) + "\n";
    }
    return text;
}

Tool::Tool(CLI::App& app) {
    auto* port = app.add_option("--port", port_, "The camera on this port (needed when more than one runs)");
    app.add_option("--run-dir", runDir_, "The camera with this run folder")->excludes(port);
    app.add_flag("--json", json_, "Print the result as one line of JSON");
}

int Tool::act() {
    try {
        action_();
        return exitOk;
    } catch (const NoCamera& error) {
        std::fprintf(stderr, "zvcam: %s\n", error.what());
    } catch (const NotReachable& error) {
        std::fprintf(stderr, "zvcam: %s\n", error.what());
    } catch (const NoAnswer& error) {
        std::fprintf(stderr, "zvcam: %s\n", error.what());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "zvcam: %s\n", error.what());
        return exitRefused;
    }
    return exitNotReachable;
}

std::string Tool::runFolder() {
    runDir_ = chooseRunFolder(runDir_, port_, camerasFolder());
    return runDir_;
}

std::unique_ptr<AdminClient> Tool::connect(const std::string& daemon) {
    const std::string folder = runFolder();
    try {
        return std::make_unique<AdminClient>(socketPath(folder, daemon + ".admin"));
    } catch (const std::system_error& error) {
        throw NotReachable(daemon + " does not run in " + folder + ": " + error.code().message());
    }
}

Json Tool::call(const std::string& daemon, const std::string& op, Json arguments, std::chrono::milliseconds wait) {
    const auto client = connect(daemon);
    try {
        return client->call(op, std::move(arguments), wait);
    } catch (const NoAnswer&) {
        throw NotReachable(daemon + " does not answer");
    }
}

void Tool::callEach(std::span<const char* const> daemons, const std::string& op, const Json& arguments,
                    const Take& take) {
    std::string missing;
    bool reached = false;
    for (const char* daemon : daemons) {
        Json result;
        try {
            result = call(daemon, op, arguments);
        } catch (const NotReachable& error) {
            missing += std::string(missing.empty() ? "" : "; ") + error.what();
            continue;
        }
        reached = true;
        take(daemon, result);
    }
    if (!reached) {
        throw NotReachable(missing);
    }
    if (!missing.empty()) {
        std::fprintf(stderr, "zvcam: %s\n", missing.c_str());
    }
}

void Tool::print(const Json& result) const {
    const std::string text = json_ ? toLine(result) + "\n" : toText(result);
    std::fwrite(text.data(), 1, text.size(), stdout);
}

} // namespace zvcamera
