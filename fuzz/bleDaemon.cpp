// The BLE daemon: lines of its admin socket and messages of its queue, in any order.
#include "bleDaemon.h"

#include "fuzzInput.h"
#include "queueStandIn.h"
#include "talk.h"

#include <filesystem>
#include <sys/socket.h>

namespace {

using namespace zvcamera;
using zvfuzz::Input;
using zvfuzz::queues;
using zvfuzz::require;

// A well-formed request with these data.
Bytes requestOf(const Bytes& data) {
    const std::string_view queue = "/to_ZVCC1";
    return encodeMessage({categoryRequest,
                          {{tagCommand, {'B', 'L'}},
                           {tagData, data},
                           {tagReplyQueue, Bytes(queue.begin(), queue.end())},
                           {tagTail, {}}}});
}

void send(int fd, const std::string& line) {
    const std::string whole = line + "\n";
    static_cast<void>(::send(fd, whole.data(), whole.size(), MSG_DONTWAIT | MSG_NOSIGNAL));
}

void play(Input& input, EventLoop& loop, int fd) {
    while (!input.empty()) {
        const std::uint8_t what = input.byte();
        switch (what % 4) {
        case 0:
            queues().waiting.push_back(requestOf(input.bytes(what / 4 % 16)));
            break;
        case 1:
            queues().waiting.push_back(input.bytes(input.number() % 2049));
            break;
        default:
            send(fd, input.line());
            break;
        }
        zvfuzz::letRun(loop);
        zvfuzz::checkAdminLines(zvfuzz::received(fd));
    }
}

} // namespace

// The whitelist's file need not outlive the machine.
extern "C" int __wrap_fsync(int /*file*/) {
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    queues().waiting.clear();
    bool spoiled = false; // a fault rule may spoil replies
    queues().sent = [&](const Bytes& message) {
        require(spoiled || decodeMessage(message).problem.empty(), "a reply is well-formed");
        return true;
    };
    const std::string& folder = zvfuzz::ownFolder();
    const std::string whitelist = folder + "/whitelist.json";
    std::filesystem::remove(whitelist);
    spoiled = std::search(data, data + size, "fault_add", "fault_add" + 9) != data + size || // spelt out or escaped
              std::find(data, data + size, '\\') != data + size;
    {
        EventLoop loop;
        AdminServer admin(loop, folder + "/admin");
        const BleDaemon daemon(loop, admin, whitelist, Json::object(), Json::array());
        const zv::UniqueFd client = zvfuzz::connectTo(folder + "/admin", SOCK_STREAM);
        play(input, loop, client.get());
    }
    require(queues().opened == 0, "the queues are closed");
    return 0;
}
