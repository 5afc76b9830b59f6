// The scenario file: one JSON object that says what the camera is when it starts. Every daemon reads its own parts.
#pragma once

#include "jsonReader.h"

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

namespace zvcamera {

class Scenario {
public:
    // No file: every part is empty, all defaults.
    Scenario() = default;
    // Reads a file. Throws JsonError, which names the file, when it cannot be read, is not JSON, is larger than 4 MiB,
    // is nested deeper than 16 levels or has an unknown part. "description" may hold any text.
    static Scenario load(const std::string& path);

    // "identity", "state", "analytics", "ble": an object; "faults": an array. Empty when the file has none. Throws
    // JsonError when the part is of the wrong kind.
    const Json& part(const std::string& name) const;
    // "ble.seed", which decides whatever varies; 1 when there is none, or a wrong one, which zvBleD refuses.
    std::uint64_t seed() const;

private:
    Json document_ = Json::object();
};

// The text of a JSON value on one line; bytes that are not UTF-8 are replaced.
std::string toLine(const Json& value);

} // namespace zvcamera
