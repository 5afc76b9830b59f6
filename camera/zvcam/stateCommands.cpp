// show, set, fail, unfail: the camera's state as zvControlD holds it.
#include "groups.h"
#include "zvErrno.h"

#include <charconv>

namespace zvcamera {
namespace {

constexpr const char* daemon = "zvControlD";

// A number, or the name of a result code. Throws CLI::ValidationError.
std::int32_t failureCode(const std::string& text) {
    for (const zvErrnoStr& row : zvErrnoStrMap) {
        if (text == row.name) {
            return row.code;
        }
    }
    std::int32_t code = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), code);
    if (error != std::errc() || end != text.data() + text.size() || code >= 0) {
        throw CLI::ValidationError("code", "must be a negative number or the name of a result code, not " + text);
    }
    return code;
}

struct Words {
    std::string item;
    std::string value;
};

void addShow(CLI::App& app, Tool& tool) {
    auto* command = app.add_subcommand("show", "Show the camera's state, or one item of it");
    auto words = std::make_shared<Words>();
    command->add_option("item", words->item, "The item alone");
    command->callback([&tool, words] {
        tool.does([&tool, words] {
            tool.print(tool.call(daemon, "show", words->item.empty() ? Json::object() : Json{{"item", words->item}}));
        });
    });
}

void addSet(CLI::App& app, Tool& tool) {
    auto* command = app.add_subcommand(
        "set", "Set an item: recording, ap_pairing_state, model_number, model_name, firmware_version,\n"
               "serial_number, board_type, ap_mac, ap_ssid, ap_has_default_credentials");
    auto words = std::make_shared<Words>();
    command->add_option("item", words->item)->required();
    command->add_option("value", words->value)->required();
    command->callback([&tool, words] {
        tool.does([&tool, words] {
            tool.print({{words->item, tool.call(daemon, "set", {{"item", words->item}, {"value", words->value}})}});
        });
    });
}

void addFail(CLI::App& app, Tool& tool) {
    auto* command = app.add_subcommand(
        "fail", "Make an item fail with a result code; also uri_interface_open, uri_interface_close,\n"
                "analytics_get and analytics_clear");
    auto words = std::make_shared<Words>();
    command->add_option("item", words->item)->required();
    command->add_option("code", words->value, "A negative number, or a name such as ZV_ERR_NAK")->required();
    command->callback([&tool, words] {
        const std::int32_t code = failureCode(words->value);
        tool.does([&tool, words, code] {
            tool.print({{"failures", tool.call(daemon, "fail", {{"item", words->item}, {"code", code}})}});
        });
    });
}

void addUnfail(CLI::App& app, Tool& tool) {
    auto* command = app.add_subcommand("unfail", "Let an item work again, or all of them");
    auto words = std::make_shared<Words>();
    command->add_option("item", words->item, "The item, or all")->required();
    command->callback([&tool, words] {
        tool.does([&tool, words] { tool.print({{"failures", tool.call(daemon, "unfail", {{"item", words->item}})}}); });
    });
}

} // namespace

void addStateCommands(CLI::App& app, Tool& tool) {
    addShow(app, tool);
    addSet(app, tool);
    addFail(app, tool);
    addUnfail(app, tool);
}

} // namespace zvcamera
