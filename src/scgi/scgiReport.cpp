#include "scgiReport.h"

#include "writeAll.h"

#include <poll.h>
#include <string>
#include <unistd.h>

void reportScgi(std::string_view text) {
    pollfd room{STDERR_FILENO, POLLOUT, 0};
    static_cast<void>(poll(&room, 1, 0));
    if (room.revents == POLLOUT) { // not where nobody reads any more, and SIGPIPE would come
        std::string line(scgiProgram);
        line.append(": ").append(text).append("\n");
        static_cast<void>(zv::writeAll(STDERR_FILENO, line));
    }
}
