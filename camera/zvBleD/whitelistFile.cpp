#include "whitelistFile.h"

#include "uniqueFd.h"
#include "writeAll.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <system_error>

namespace zvcamera {
namespace {

constexpr mode_t fileMode = 0664;

[[noreturn]] void fail(const std::string& path) {
    throw std::system_error(errno, std::generic_category(), path);
}

void writeWhole(const std::string& path, const std::string& text) {
    const zv::UniqueFd file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, fileMode));
    if (!file.ok()) {
        fail(path);
    }
    if (!zv::writeAll(file.get(), text) || fsync(file.get()) != 0) {
        fail(path);
    }
}

} // namespace

std::optional<KeptWhitelist> loadWhitelist(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    try {
        const Json document = parseJson(text);
        JsonReader reader(document, "");
        KeptWhitelist kept;
        reader.byte("auto_connect", kept.autoConnect);
        kept.slots = readSlots(reader, "slots");
        reader.finish();
        return kept;
    } catch (const std::exception& error) {
        throw JsonError(path + ": " + error.what());
    }
}

void saveWhitelist(const std::string& path, const KeptWhitelist& whitelist) {
    Json slots = Json::array();
    for (const Slot& slot : whitelist.slots) {
        slots.push_back(toJson(slot));
        slots.back().erase("connected");
    }
    const Json document{{"auto_connect", whitelist.autoConnect}, {"slots", slots}};
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    const std::string fresh = path + ".new";
    writeWhole(fresh, document.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
    if (rename(fresh.c_str(), path.c_str()) != 0) {
        fail(path);
    }
}

} // namespace zvcamera
