#include "scgiRequest.h"

#include "scgiHeader.h"
#include "scgiReader.h"
#include "standardDescriptors.h"
#include "writeAll.h"

#include <algorithm>
#include <string_view>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr std::size_t variablesMost = 4096;
constexpr std::size_t blockSize = 16384;

// Room that takes memory only where it is written to.
char arrived[scgiNetstringMost];
char* variables[variablesMost + 1];

// Reads until the header is whole, or malformed. Returns how many bytes have arrived, the body's first ones included; 0
// when the reader gets no more.
std::size_t readHeader(ScgiReader& reader, ScgiFrame& frame) {
    std::size_t size = 0;
    while (frame.progress == ScgiFrame::Progress::Part) {
        const std::size_t length = reader.read({arrived + size, sizeof arrived - size});
        if (length == 0) {
            return 0;
        }
        size += length;
        frame = findScgiHeader({arrived, size});
    }
    return size;
}

// Takes the body's first bytes, and the rest from the reader. Null, or why the body is not whole.
const char* readBody(ScgiReader& reader, std::string_view first, std::size_t length, zv::UniqueFd& body) {
    if (length == 0) {
        body.reset(openNothing());
        return nullptr;
    }
    body.reset(memfd_create("body", MFD_CLOEXEC));
    std::string_view part = first.substr(0, length);
    char block[blockSize];
    while (zv::writeAll(body.get(), part)) {
        length -= part.size();
        if (length == 0) {
            static_cast<void>(lseek(body.get(), 0, SEEK_SET));
            return nullptr;
        }
        part = {block, reader.read({block, std::min(length, sizeof block)})};
        if (part.empty()) {
            return reader.complaint();
        }
    }
    return "there is no room for its body";
}

// Takes what the web server still sends: it looks at the answer only then.
const char* refuseBody(int connection, ScgiReader& reader) {
    static_cast<void>(zv::writeAll(connection, "Status: 413 Content Too Large\r\nContent-Type: text/html\r\n\r\n"
                                               "<h1>413 Content Too Large</h1>\n"));
    shutdown(connection, SHUT_WR);
    char block[blockSize];
    while (reader.read(block) > 0) {
    }
    return "its body is too long";
}

} // namespace

const char* receiveScgiRequest(int connection, std::chrono::milliseconds limit, ScgiRequest& request) {
    ScgiReader reader(connection, limit);
    ScgiFrame frame;
    const std::size_t size = readHeader(reader, frame);
    if (size == 0) {
        return reader.complaint();
    }
    if (frame.progress == ScgiFrame::Progress::Malformed) {
        return "it does not begin with a header";
    }
    std::size_t bodyLength = 0;
    if (const char* const reason = makeScgiEnvironment({arrived + frame.begin, frame.size}, variables, bodyLength);
        reason != nullptr) {
        return reason;
    }
    if (bodyLength > scgiBodyMost) {
        return refuseBody(connection, reader);
    }
    request.environment = variables;
    const std::size_t headerEnd = frame.begin + frame.size + 1;
    return readBody(reader, {arrived + headerEnd, size - headerEnd}, bodyLength, request.body);
}
