/*
 * What every subcommand of the tool works with.
 *
 * A group of subcommands is one source file with a function that adds them to the command line (CommandGroup) and a row
 * in groups.cpp. A subcommand's callback does not act: it leaves its action with Tool::does(), which is carried out
 * once the whole command line has proved right.
 */
#pragma once

#include "adminClient.h"

#include <CLI/CLI.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace zvcamera {

// Exit statuses of the tool.
constexpr int exitOk = 0;
constexpr int exitRefused = 1;      // the camera refused, or could not do it
constexpr int exitUsage = 2;        // the command line is wrong
constexpr int exitNotReachable = 3; // no such camera, or its program does not run or answer

// The program of the camera that was to be asked is not there.
class NotReachable : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The programs that serve a queue, in the order in which a request passes them.
inline constexpr const char* queueDaemons[] = {"zvNetD", "zvBleD"};

class Tool {
public:
    // Adds the options --port, --run-dir and --json.
    explicit Tool(CLI::App& app);
    Tool(const Tool&) = delete;
    Tool& operator=(const Tool&) = delete;

    void does(std::function<void()> action) { action_ = std::move(action); }
    // Carries the action out; prints what went wrong to standard error and returns the exit status.
    int act();

    // A connection to a program of the camera: zvControlD, zvNetD, zvBleD or supervisor. Throws NotReachable.
    std::unique_ptr<AdminClient> connect(const std::string& daemon);
    // One operation over a connection of its own. Throws std::runtime_error with the daemon's error text.
    Json call(const std::string& daemon, const std::string& op, Json arguments = Json::object(),
              std::chrono::milliseconds wait = std::chrono::seconds(5));

    // The same of each of the programs that is there, its result given to `take`. One that is not is named on standard
    // error; throws NotReachable when none is.
    using Take = std::function<void(const std::string& daemon, const Json& result)>;
    void callEach(std::span<const char* const> daemons, const std::string& op, const Json& arguments, const Take& take);

    bool json() const { return json_; }
    // Prints a result: one JSON line with --json, else for people: members of objects aligned, one a line, nested ones
    // indented below their name.
    void print(const Json& result) const;

private:
    std::string runFolder();

    std::string runDir_;
    std::optional<int> port_;
    bool json_ = false;
    std::function<void()> action_;
};

// Adds the subcommands of a group. The tool outlives the command line.
using CommandGroup = void (*)(CLI::App& app, Tool& tool);

void addAllGroups(CLI::App& app, Tool& tool);

// The text for people that Tool::print() writes.
std::string toText(const Json& result, const std::string& indent = "");

} // namespace zvcamera
