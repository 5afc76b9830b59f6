#include "loadCheck.h"

#include "uniqueFd.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <dirent.h>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace {

constexpr const char* descriptorFolder = "/proc/self/fd";
constexpr const char* threadFolder = "/proc/self/task";

// The numbers that name the entries of a folder of /proc.
class Numbers {
public:
    // Nothing of this needs a library that has been initialised. False when the folder cannot be read.
    bool read(const char* path) {
        const zv::UniqueFd folder(open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        alignas(dirent64) char block[2048];
        ssize_t length = 0;
        while ((length = getdents64(folder.get(), block, sizeof block)) > 0) {
            for (ssize_t at = 0; at < length;) {
                const auto* const entry = reinterpret_cast<const dirent64*>(block + at);
                add(entry->d_name, folder.get());
                at += entry->d_reclen;
            }
        }
        return length == 0;
    }
    bool has(int number) const { return std::find(begin(), end(), number) != end(); }
    const int* begin() const { return numbers_.data(); }
    const int* end() const { return numbers_.data() + count_; }
    std::size_t size() const { return count_; }

private:
    void add(std::string_view name, int folder) {
        int number = 0;
        const auto result = std::from_chars(name.data(), name.data() + name.size(), number);
        if (result.ec == std::errc() && number != folder && count_ < numbers_.size()) {
            numbers_[count_++] = number;
        }
    }

    std::array<int, 1024> numbers_{};
    std::size_t count_ = 0;
};

constinit Numbers firstDescriptors;
constinit Numbers firstThreads;

void noteStart() {
    static_cast<void>(firstDescriptors.read(descriptorFolder));
    static_cast<void>(firstThreads.read(threadFolder));
}

// The loader calls this before it initialises the first library.
[[gnu::section(".preinit_array"), gnu::used]] void (*const noteAtStart)() = noteStart;

std::string target(int descriptor) {
    char text[256];
    const std::string path = descriptorFolder + ("/" + std::to_string(descriptor));
    const ssize_t length = readlink(path.c_str(), text, sizeof text);
    return {text, static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
}

std::string describeDescriptors(const Numbers& now) {
    std::string list;
    for (const int descriptor : now) {
        if (!firstDescriptors.has(descriptor)) {
            list += (list.empty() ? "" : ", ") + std::to_string(descriptor) + " (" + target(descriptor) + ")";
        }
    }
    return list.empty() ? "" : "descriptors have been opened: " + list;
}

} // namespace

std::string describeLoading() {
    Numbers descriptors;
    Numbers threads;
    if (!descriptors.read(descriptorFolder) || !threads.read(threadFolder)) {
        return "threads and descriptors cannot be counted without /proc";
    }
    if (threads.size() > firstThreads.size()) {
        return "threads have been started: " + std::to_string(threads.size() - firstThreads.size());
    }
    return describeDescriptors(descriptors);
}
