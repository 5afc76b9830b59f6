// A test's end of a daemon's admin socket.
#pragma once

#include "jsonReader.h"
#include "uniqueFd.h"

#include <chrono>
#include <functional>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

namespace zvtest {

using zvcamera::Json;

// The daemon ended, or did not answer in time.
class NoAnswer : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class AdminClient {
public:
    // Throws std::system_error when nobody serves the socket.
    explicit AdminClient(const std::string& path);

    // Sends {"op":op, ...arguments} and returns the result. Throws std::runtime_error with the daemon's error text or
    // when it answers something else, NoAnswer when it ends or does not answer within `wait`.
    Json call(const std::string& op, Json arguments = Json::object(),
              std::chrono::milliseconds wait = std::chrono::seconds(5));

    // The data of the next published line; null after `wait`. Throws NoAnswer when the daemon ends.
    Json nextEvent(std::chrono::milliseconds wait);

    int fd() const { return fd_.get(); }

private:
    bool readLine(std::string& line, std::chrono::steady_clock::time_point deadline);

    zv::UniqueFd fd_;
    std::string input_;
    std::string name_;
};

} // namespace zvtest
