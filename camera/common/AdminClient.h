// The tool's end of a daemon's admin socket.
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "JsonReader.h"
#include "UniqueFd.h"

namespace zvcam {

class AdminClient {
public:
    // Throws std::system_error when nobody serves the socket.
    explicit AdminClient(const std::string& path);

    // Sends {"op":op, ...arguments} and returns the result. Throws std::runtime_error with the daemon's error
    // text, when the daemon ends, answers something else, or not within `wait`.
    Json call(const std::string& op, Json arguments = Json::object(),
              std::chrono::milliseconds wait = std::chrono::seconds(5));

    // The data of the next published line; null after `wait`. Throws std::runtime_error when the daemon ends.
    Json nextEvent(std::chrono::milliseconds wait);

    int fd() const { return fd_.get(); }

private:
    bool readLine(std::string& line, std::chrono::steady_clock::time_point deadline);

    UniqueFd fd_;
    std::string input_;
    std::string name_;
};

} // namespace zvcam
