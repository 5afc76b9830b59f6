// A scenario from its text.
#pragma once

#include "scenario.h"

#include <fstream>
#include <string>

inline zvcamera::Scenario scenarioOf(const std::string& text) {
    const std::string path = "/tmp/scenario.json";
    std::ofstream(path) << text;
    return zvcamera::Scenario::load(path);
}
