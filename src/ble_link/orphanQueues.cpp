#include "orphanQueues.h"

#include "bleQueue.h"

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <dirent.h>
#include <memory>
#include <mqueue.h>
#include <optional>
#include <string_view>
#include <sys/types.h>
#include <system_error>

namespace {

constexpr const char* queueFolder = "/dev/mqueue"; // where the queues' file system is mounted, if it is
constexpr std::size_t nameSize = 32;

struct CloseFolder {
    void operator()(DIR* folder) const { static_cast<void>(closedir(folder)); }
};

// The process that a reply queue of this name belongs to; none for any other name.
std::optional<pid_t> ownerOf(std::string_view name) {
    constexpr std::string_view family = replyQueueFamily + 1; // a folder has it without the slash
    if (!name.starts_with(family)) {
        return std::nullopt;
    }
    const std::string_view number = name.substr(family.size());
    pid_t process = 0;
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), process);
    const bool whole = error == std::errc() && end == number.data() + number.size();
    // Neither a sign nor leading zeros: the program writes none.
    return whole && number[0] >= '1' && number[0] <= '9' ? std::optional(process) : std::nullopt;
}

bool isGone(pid_t process) {
    return kill(process, 0) != 0 && errno == ESRCH;
}

bool removeQueueOf(pid_t process) {
    char name[nameSize];
    std::snprintf(name, sizeof name, "%s%d", replyQueueFamily, static_cast<int>(process));
    return mq_unlink(name) == 0;
}

} // namespace

int removeOrphanQueues() {
    const std::unique_ptr<DIR, CloseFolder> folder(opendir(queueFolder));
    int removed = 0;
    while (const dirent* const entry = folder == nullptr ? nullptr : readdir(folder.get())) {
        const std::optional<pid_t> owner = ownerOf(entry->d_name);
        if (owner && isGone(*owner) && removeQueueOf(*owner)) {
            ++removed;
        }
    }
    return removed;
}
