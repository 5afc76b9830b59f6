// Finds the run folder of a camera on this machine.
#pragma once

#include <map>
#include <optional>
#include <stdexcept>
#include <string>

namespace zvcamera {

// No camera, or none that can be told from others.
class NoCamera : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// ${TMPDIR:-/tmp}/zvcam-<uid>: a folder for each camera of this user, named after its port.
std::string camerasFolder();

// The cameras that run below a folder: port and run folder. One runs when somebody serves an admin socket in its run
// folder.
std::map<int, std::string> runningCameras(const std::string& folder);

// The run folder to talk to: the given one, that of a port, or that of the only camera that runs. Throws NoCamera.
std::string chooseRunFolder(const std::string& given, std::optional<int> port, const std::string& folder);

// The path of a file in a run folder, in a form that fits a socket address however long the folder's own path is.
// Throws NoCamera when there is no such folder.
std::string socketPath(const std::string& runFolder, const std::string& name);

} // namespace zvcamera
