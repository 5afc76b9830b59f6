// The whitelist's file: what the radio knows after a restart.
#pragma once

#include "whitelist.h"

#include <optional>
#include <string>
#include <vector>

namespace zvcamera {

struct KeptWhitelist {
    std::uint8_t autoConnect = 1; // the radio's setting
    std::vector<Slot> slots;
};

// Nothing when there is no file; throws JsonError when it cannot be read as what saveWhitelist() writes.
std::optional<KeptWhitelist> loadWhitelist(const std::string& path);

// Replaces the file in one step, so that a killed daemon leaves the old or the new one. Makes its folders. Throws
// std::system_error.
void saveWhitelist(const std::string& path, const KeptWhitelist& whitelist);

} // namespace zvcamera
