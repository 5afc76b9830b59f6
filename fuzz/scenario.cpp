// Scenario files and kept whitelists, and what the daemons make of them.
#include "scenario.h"

#include "bleDaemon.h"
#include "cameraState.h"
#include "fuzzInput.h"
#include "radioCommands.h"
#include "whitelistFile.h"

#include <optional>
#include <sys/mman.h>
#include <unistd.h>

namespace {

using namespace zvcamera;
using zvfuzz::require;

// A file in memory with this content, by its path.
class MemoryFile {
public:
    explicit MemoryFile(const std::string& content) : fd_(memfd_create("scenario", MFD_CLOEXEC)) {
        require(write(fd_.get(), content.data(), content.size()) == static_cast<ssize_t>(content.size()), "a file");
    }
    std::string path() const { return "/proc/self/fd/" + std::to_string(fd_.get()); }

private:
    zv::UniqueFd fd_;
};

// Whatever the scenario says, pages can be asked for and commands are answered.
void useRadio(Radio& radio) {
    for (const Millis time : {Millis{0}, Millis{700}, Millis{60000}}) {
        require(runCommand(radio, Bytes{1, 1}, time).status == Status::Ok, "a scan starts");
        const CommandResult page = runCommand(radio, Bytes{4, 0, 15}, time + 3000);
        require(page.status == Status::Ok && page.data.size() == 4 + page.data[3] * scanEntrySize,
                "a page of the scan");
        const CommandResult list = runCommand(radio, Bytes{6, 0, 255}, time + 3000);
        require(list.data.size() == 4 + list.data[3] * whitelistEntrySize, "a page of the whitelist");
    }
    require(Json::parse(toLine(radioState(radio, 0)), nullptr, false).is_object(), "the radio's state is an object");
}

void checkScenario(const std::string& path) {
    try {
        const Scenario scenario = Scenario::load(path);
        const CameraState state(scenario);
        require(state.toJson().is_object(), "the camera's state is an object");
        for (const Json& rule : scenario.part("faults")) {
            require(readFaultRule(rule, "rule").kind != nullptr, "a rule has a fault");
        }
        Radio radio;
        setUpRadio(radio, scenario.part("ble"));
        useRadio(radio);
    } catch (const JsonError&) {
    }
}

void checkWhitelist(const std::string& path) {
    try {
        const std::optional<KeptWhitelist> kept = loadWhitelist(path);
        require(kept.has_value(), "the file is there");
        Radio radio;
        radio.whitelist.assign(kept->slots);
        useRadio(radio);
    } catch (const JsonError&) {
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const MemoryFile file({data, data + size});
    checkScenario(file.path());
    checkWhitelist(file.path());
    return 0;
}
