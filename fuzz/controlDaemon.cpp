// The control daemon: packets of the libraries and lines of its admin socket, in any order.
#include "controlDaemon.h"

#include "fuzzInput.h"
#include "talk.h"

#include <sys/socket.h>

namespace {

using namespace zvcamera;
using zvfuzz::Bytes;
using zvfuzz::Input;
using zvfuzz::require;

void checkAnswer(const std::string& packet) {
    const std::vector<unsigned char> bytes(packet.begin(), packet.end());
    require(packet.empty() || zvcontrol::decodeAnswer(bytes).has_value(), "an answer packet is well-formed");
}

// A size would make a file of just that size, gigabytes for a few digits.
bool makesFile(const std::string& line) {
    return line.find("size") != std::string::npos || line.find("append") != std::string::npos ||
           line.find('\\') != std::string::npos;
}

void play(Input& input, EventLoop& loop, const std::string& folder) {
    const zv::UniqueFd admin = zvfuzz::connectTo(folder + "/zvControlD.admin", SOCK_STREAM);
    zv::UniqueFd library = zvfuzz::connectTo(folder + "/" + zvcontrol::socketName, SOCK_SEQPACKET);
    while (!input.empty()) {
        const std::uint8_t what = input.byte();
        if (what % 2 == 0) {
            Bytes packet = input.bytes(what / 2);
            const Bytes mark{'Z', 'C', 1};
            if (what % 4 == 0) {
                packet.insert(packet.begin(), mark.begin(), mark.end());
            }
            if (::send(library.get(), packet.data(), packet.size(), MSG_DONTWAIT | MSG_NOSIGNAL) < 0) {
                library = zvfuzz::connectTo(folder + "/" + zvcontrol::socketName, SOCK_SEQPACKET);
            }
        } else if (const std::string line = input.line() + "\n"; !makesFile(line)) {
            static_cast<void>(::send(admin.get(), line.data(), line.size(), MSG_DONTWAIT | MSG_NOSIGNAL));
        }
        zvfuzz::letRun(loop);
        unsigned char packet[zvcontrol::maxPacket];
        const ssize_t length = recv(library.get(), packet, sizeof packet, MSG_DONTWAIT);
        if (length > 0) {
            checkAnswer({packet, packet + length});
        }
        zvfuzz::checkAdminLines(zvfuzz::received(admin.get()));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const std::string& folder = zvfuzz::ownFolder();
    EventLoop loop;
    const ControlDaemon daemon(loop, {"", folder, folder}, Scenario());
    play(input, loop, folder);
    return 0;
}
